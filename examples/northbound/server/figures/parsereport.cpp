#include "server/figures/parsereport.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <sstream>

namespace northbound {
namespace {

/// What stands in \p line between \p before, with which it begins, and \p after, with which it ends.
std::optional<std::string> Between(const std::string& line, const std::string& before,
                                   const std::string& after)
{
    if (line.size() < before.size() + after.size() || line.compare(0, before.size(), before) != 0) return {};
    const std::size_t nEnd = line.size() - after.size();
    if (line.compare(nEnd, after.size(), after) != 0) return {};
    return line.substr(before.size(), nEnd - before.size());
}

/// The parser does not say why, so it is tried again.
std::string WhyNotOpened(const std::string& file)
{
    const int nFile = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (nFile < 0) return std::string("cannot be read: ") + std::strerror(errno);
    close(nFile);
    return "could not be read";
}

/// "F], at line [7" in \p place
ParseFailure SyntaxFailure(const std::string& place, const std::string& reason)
{
    const std::string mark = "], at line [";
    const std::size_t nMark = place.rfind(mark);
    if (nMark == std::string::npos) return {place, reason};
    return {place.substr(0, nMark), "line " + place.substr(nMark + mark.size()) + ": " + reason};
}

}  // namespace

std::vector<ParseFailure> FailuresIn(const std::string& printed)
{
    std::vector<ParseFailure> failures;
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);) {
        if (const auto place = Between(line, "[PrintParseError] Parse error in file [", "]:")) {
            std::getline(lines, line);
            failures.push_back(SyntaxFailure(*place, Between(line, "[", "]").value_or(line)));
        } else if (const auto unopened = Between(line, "[ParseFile] Call fopen file name ", " error")) {
            failures.push_back({*unopened, WhyNotOpened(*unopened)});
        } else if (const auto circle = Between(line, "[ParseXMLFile] File ", " is being parsed already")) {
            failures.push_back({*circle, "includes itself, which is left out"});
        }
    }
    return failures;
}

}  // namespace northbound
