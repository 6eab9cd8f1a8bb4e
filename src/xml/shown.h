/// \file
/// Texts that may be missing.
#pragma once

namespace NS_UTIL {

/// \p pText, or "" in place of null.
constexpr const char* Shown(const char* pText)
{
    return pText == nullptr ? "" : pText;
}

}  // namespace NS_UTIL
