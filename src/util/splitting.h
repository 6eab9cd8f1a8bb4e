/// \file
/// SplitStringByTag() with any taker of the pieces.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "nbiutil/conversions.h"
#include "util/trimming.h"

namespace NS_UTIL {

/// Hands each piece of \p text, trimmed, to \p take: as a view, or as a text it may keep.
/// \return as SplitStringByTag(); pieces in front of a failure have been handed over
template <class Take>
bool ForEachPiece(std::string_view text, char separator, unsigned int nFlags, Take take)
{
    if (text.empty()) return false;
    const bool bKeepEmpty = (nFlags & SPLIT_KEEP_EMPTY) != 0;
    const bool bLeading = bKeepEmpty && (nFlags & SPLIT_LEADING_TAG) != 0;
    const bool bTrailing = bKeepEmpty && (nFlags & SPLIT_TRAILING_TAG) != 0;
    if (bLeading && text.front() != separator) return false;
    if (bTrailing && text.back() != separator) return false;

    const auto takeUnlessEmpty = [bKeepEmpty, &take](auto&& piece) {
        if (piece.empty() && !bKeepEmpty) return false;
        take(std::forward<decltype(piece)>(piece));
        return true;
    };
    const WhiteSpace& whiteSpace = WhiteSpace::OfHost();
    const bool bSkipFirst = text.front() == separator && (bLeading || !bKeepEmpty);
    std::size_t nStart = bSkipFirst ? 1 : 0;
    while (nStart < text.size()) {
        const std::size_t nEnd = std::min(text.find(separator, nStart), text.size());
        if (!whiteSpace.Trim(text.substr(nStart, nEnd - nStart), takeUnlessEmpty)) return false;
        nStart = nEnd + 1;
    }
    const bool bEndsInSeparator = nStart == text.size();
    if (bEndsInSeparator && bKeepEmpty && !bTrailing) take(std::string_view());
    return true;
}

}  // namespace NS_UTIL
