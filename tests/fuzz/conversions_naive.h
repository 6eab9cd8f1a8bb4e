/// \file
/// The conversions once more, step by step and with no thought of speed, for the fuzz targets to compare
/// with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "nbihost/trim.h"

namespace nbitest::naive {

/// Ends the program where the library and its second implementation disagree.
inline void Demand(bool bHolds, const char* pWhat)
{
    if (bHolds) return;
    std::fprintf(stderr, "disagreement: %s\n", pWhat);
    std::abort();
}

inline std::string TextOf(const std::uint8_t* pData, std::size_t nSize)
{
    return std::string(reinterpret_cast<const char*>(pData), nSize);
}

inline bool AllOf(const std::string& text, const char* pAlphabet)
{
    return !text.empty() && text.find('\0') == std::string::npos &&
           text.find_first_not_of(pAlphabet) == std::string::npos;
}

inline bool IsIntegerShape(const std::string& text)
{
    const std::string body = text.substr(0, 1) == "-" ? text.substr(1) : text;
    if (body.substr(0, 2) == "0x") return AllOf(body.substr(2), "0123456789abcdefABCDEF");
    if (body.substr(0, 1) == "0") return AllOf(body, "01234567");
    return AllOf(body, "0123456789");
}

inline bool Str2Int(const std::string& text, int& value)
{
    const std::string trimmed = NS_BUNDLEMGR1::Trim(text);
    if (!IsIntegerShape(trimmed)) return false;
    value = static_cast<int>(std::strtoul(trimmed.c_str(), nullptr, 0));
    return true;
}

inline bool Split(const std::string& text, std::vector<std::string>& pieces, char separator,
                  unsigned int nFlags)
{
    const bool bKeep = (nFlags & 1) != 0;
    const bool bLeading = (nFlags & 2) != 0;
    const bool bTrailing = (nFlags & 4) != 0;
    if (text.empty()) return false;
    if (bKeep && bLeading && text[0] != separator) return false;
    if (bKeep && bTrailing && text[text.size() - 1] != separator) return false;
    std::size_t nStart = 0;
    while (true) {
        if (nStart == text.size()) {
            if (bKeep && !bTrailing) pieces.push_back("");
            return true;
        }
        std::size_t nEnd = nStart;
        while (nEnd < text.size() && text[nEnd] != separator) ++nEnd;
        const bool bSkipped = nEnd == 0 && (!bKeep || bLeading);
        if (!bSkipped) {
            const std::string piece = NS_BUNDLEMGR1::Trim(text.substr(nStart, nEnd - nStart));
            if (piece.empty() && !bKeep) return false;
            pieces.push_back(piece);
        }
        nStart = nEnd + 1;
        if (nStart > text.size()) return true;
    }
}

inline bool IpStr2Long(const std::string& text, long& nAddress)
{
    std::vector<std::string> pieces;
    if (!Split(text, pieces, '.', 0) || pieces.size() < 4) return false;
    std::string hex = "0x";
    for (const std::string& piece : pieces) {
        int nPart = -1;
        Str2Int(piece, nPart);
        char digits[16];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned int>(nPart));
        hex += digits;
    }
    int value = -1;
    Str2Int(hex, value);
    nAddress = value;
    return true;
}

inline std::size_t Find(const std::string& source, const std::string& wanted)
{
    for (std::size_t i = 0; i + wanted.size() <= source.size(); ++i) {
        if (source.substr(i, wanted.size()) == wanted) return i;
    }
    return std::string::npos;
}

inline bool CutTag(const std::string& source, const std::string& open, const std::string& close,
                   std::string& value)
{
    const std::size_t nOpen = Find(source, open);
    const std::size_t nClose = Find(source, close);
    if (nOpen == std::string::npos || nClose == std::string::npos || nClose < nOpen) return false;
    value.clear();
    for (std::size_t i = nOpen + open.size(); i < nClose; ++i) value += source[i];
    return true;
}

}  // namespace nbitest::naive
