/// \file
/// The host's Trim() without its copy.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "nbihost/trim.h"
#include "util/digits.h"

namespace NS_UTIL {

/// What the host takes for white space. A host takes it off one character at a time, so it is asked once in a
/// process which ASCII characters that are. A byte beyond ASCII may be part of a longer character: a text
/// that has one at an end goes to the host.
class WhiteSpace {
public:
    /// The host's, asked at the first call.
    static const WhiteSpace& OfHost();

    /// Hands \p text, trimmed, to \p take: as a view, or as a text it may keep where the host has trimmed it.
    template <class Take>
    auto Trim(std::string_view text, Take&& take) const
    {
        const char* pBegin = text.data();
        const char* pEnd = pBegin + text.size();
        while (pBegin < pEnd && Is(*pBegin, LEADING)) ++pBegin;
        while (pBegin < pEnd && Is(pEnd[-1], TRAILING)) --pEnd;
        const std::string_view trimmed(pBegin, static_cast<std::size_t>(pEnd - pBegin));
        const bool bUnsure = pBegin < pEnd && (Is(*pBegin, UNKNOWN) || Is(pEnd[-1], UNKNOWN));
        return bUnsure ? take(NS_BUNDLEMGR1::Trim(std::string(trimmed))) : take(trimmed);
    }

private:
    enum Trait : unsigned char { LEADING = 1, TRAILING = 2, UNKNOWN = 4 };

    WhiteSpace();
    bool Is(char character, Trait trait) const { return (m_Traits[ByteOf(character)] & trait) != 0; }

    std::array<unsigned char, 256> m_Traits{};
};

}  // namespace NS_UTIL
