/// \file
/// The integer-list syntax of description files: "[1,3-5,MAX]".
#pragma once

#include <cstddef>
#include <string_view>

namespace NS_UTIL {

/// ASCII, so that no locale changes what a list means.
constexpr bool IsTokenCharacter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_';
}

/// Appends every number from \p nFirst up to \p nLast; none when \p nFirst is the greater.
template <class Numbers>
void AppendRange(int nFirst, int nLast, Numbers& out)
{
    for (long nNumber = nFirst; nNumber <= nLast; ++nNumber) out.push_back(static_cast<int>(nNumber));
}

/// Appends the numbers of the list in \p text to \p out.
/// \param valueOf the value of a token, which is a run of letters, digits and "_"
///
/// Deliberate, since description files are written for it: an item counts when "," or "]" follows it, so that
/// a list that is not closed loses its last item; an item without a token repeats the value before it, the
/// first one being 0; "-" makes a range and not a sign; every other character only ends a token.
template <class Numbers, class ValueOf>
void ReadIntList(std::string_view text, const ValueOf& valueOf, Numbers& out)
{
    int nCurrent = 0;
    int nFirst = 0;
    bool bRange = false;
    for (std::size_t nPosition = 0;; ++nPosition) {
        const std::size_t nStart = nPosition;
        while (nPosition < text.size() && IsTokenCharacter(text[nPosition])) ++nPosition;
        if (nPosition > nStart) nCurrent = valueOf(text.substr(nStart, nPosition - nStart));
        if (nPosition >= text.size()) return;
        if (text[nPosition] == '-') {
            nFirst = nCurrent;
            bRange = true;
        } else if (text[nPosition] == ',' || text[nPosition] == ']') {
            AppendRange(bRange ? nFirst : nCurrent, nCurrent, out);
            bRange = false;
        }
    }
}

}  // namespace NS_UTIL
