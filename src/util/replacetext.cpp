#include "util/replacetext.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace NS_UTIL {
namespace {

/// Finds a text character by character (Knuth, Morris, Pratt).
class Matcher {
public:
    explicit Matcher(const std::string& wanted) : m_Wanted(wanted), m_Borders(wanted.size(), 0)
    {
        for (std::size_t i = 1; i < wanted.size(); ++i) m_Borders[i] = After(m_Borders[i - 1], wanted[i]);
    }

    /// \param nMatched how many characters of the wanted text stand in front of \p next
    /// \return         how many do behind it
    std::size_t After(std::size_t nMatched, char next) const
    {
        while (nMatched > 0 && m_Wanted[nMatched] != next) nMatched = m_Borders[nMatched - 1];
        return m_Wanted[nMatched] == next ? nMatched + 1 : 0;
    }

private:
    const std::string& m_Wanted;
    std::vector<std::size_t> m_Borders;  // of each head: the longest shorter head that it ends with
};

}  // namespace

std::string ReplaceFromStart(const std::string& subject, const std::string& from, const std::string& to)
{
    const Matcher matcher(from);
    std::string done;                                     // the text up to where it is looked through
    std::string ahead(subject.rbegin(), subject.rend());  // and behind that, the last character first
    std::size_t nSearch = 0;
    std::size_t nMatched = 0;
    while (!ahead.empty()) {
        done.push_back(ahead.back());
        ahead.pop_back();
        if (done.size() <= nSearch) continue;
        nMatched = matcher.After(nMatched, done.back());
        if (nMatched < from.size()) continue;
        const std::size_t nFound = done.size() - from.size();
        done.resize(nFound);
        ahead.append(to.rbegin(), to.rend());
        nSearch += to.size();
        // With the replacement the last characters in front of it may form another occurrence.
        const std::size_t nAgain = std::max(nSearch, nFound - std::min(nFound, from.size() - 1));
        for (; done.size() > nAgain; done.pop_back()) ahead.push_back(done.back());
        nMatched = 0;
    }
    return done;
}

}  // namespace NS_UTIL
