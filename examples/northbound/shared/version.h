/// \file
/// What the programs tell of their origin.
#pragma once

#include <string>

namespace northbound {

/// Version and commit of \p program, and how it was built; two lines.
std::string VersionText(const std::string& program);

}  // namespace northbound
