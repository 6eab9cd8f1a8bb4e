/// \file
/// How much room texts take on a terminal. All texts are well-formed UTF-8 without control characters, as Printable()
/// makes them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace northbound {

/// Columns of a terminal that \p text takes: two for a Chinese character, none for a combining one. The figures are
/// those of the C library's wcwidth(), which shells and most programs on a terminal count with, too.
std::size_t ColumnsOf(const std::string& text);

/// \p text, or as much of its beginning as fits, with "~" for the rest.
std::string CutTo(std::size_t nColumns, const std::string& text);

/// \p text in lines of at most \p nColumns, broken at blanks where that is possible. At least one line.
/// \param nColumns at least 2
std::vector<std::string> Wrapped(const std::string& text, std::size_t nColumns);

/// The columns of the longest part of \p text without a blank.
std::size_t ColumnsOfLongestWord(const std::string& text);

}  // namespace northbound
