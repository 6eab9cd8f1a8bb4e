/// \file
/// What the programs tell of their origin.
#pragma once

#include <string>

namespace northbound {

/// What stands in this build's programs.
struct Version {
    const char* m_pNumber;
    const char* m_pCommit;
    const char* m_pOptions;  // compiler, type of the build and the like
};

Version ThisVersion();

/// Version and commit of \p program, and how it was built; two lines.
std::string VersionText(const std::string& program);

}  // namespace northbound
