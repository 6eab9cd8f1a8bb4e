/// \file
/// What this machine is called.
#pragma once

#include <string>

namespace northbound {

/// "localhost" where the system has no name.
std::string HostName();

}  // namespace northbound
