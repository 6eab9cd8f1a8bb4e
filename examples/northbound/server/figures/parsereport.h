/// \file
/// What the parser of description files has to say.
#pragma once

#include <string>
#include <vector>

namespace northbound {

struct ParseFailure {
    std::string m_File;    // as it was given to the parser
    std::string m_Reason;  // "line 7: mismatched tag"
};

/// The parser tells of failures on standard output alone, of files that others include as of the first one.
/// These are the failures in what it printed, in its order.
std::vector<ParseFailure> FailuresIn(const std::string& printed);

}  // namespace northbound
