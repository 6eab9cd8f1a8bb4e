/// \file
/// Replacing in a text, from a search start that moves by the length of the new text alone.
#pragma once

#include <string>

namespace NS_UTIL {

/// What this loop gives, with \p from not empty:
///
///     std::size_t nSearch = 0;
///     for (std::size_t nFound; (nFound = subject.find(from, nSearch)) != npos; nSearch += to.size())
///         subject.replace(nFound, from.size(), to);
///
/// Deliberate: the search goes on at the previous search start plus the length of \p to, not behind the
/// replacement. Stored texts were made this way, and their readers expect what it gives.
/// The time is linear in the subject and the result together, whatever the texts hold.
std::string ReplaceFromStart(const std::string& subject, const std::string& from, const std::string& to);

}  // namespace NS_UTIL
