#include "util/trimming.h"

namespace NS_UTIL {

constexpr std::size_t ASCII = 128;

/// Each character is asked for beside a letter: a host may treat the two ends differently.
WhiteSpace::WhiteSpace()
{
    for (std::size_t i = 0; i < m_Traits.size(); ++i) {
        const char character = static_cast<char>(i);
        if (i >= ASCII) {
            m_Traits[i] = UNKNOWN;
        } else {
            if (NS_BUNDLEMGR1::Trim({character, 'x'}) == "x") m_Traits[i] |= LEADING;
            if (NS_BUNDLEMGR1::Trim({'x', character}) == "x") m_Traits[i] |= TRAILING;
        }
    }
}

const WhiteSpace& WhiteSpace::OfHost()
{
    static const WhiteSpace whiteSpace;
    return whiteSpace;
}

}  // namespace NS_UTIL
