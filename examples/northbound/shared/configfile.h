/// \file
/// Where a program of the example finds its configuration.
#pragma once

#include <string>

namespace northbound {

/// The first of these that exists: \p name in the folder of the running program, in "etc/nbiutil" of the
/// installation that the program belongs to, and in /etc/nbiutil; without any, the first of the three.
std::string ConfigFile(const std::string& name);

}  // namespace northbound
