/// \file
/// Conversions between text, integers and dotted IPv4 addresses, trimming, splitting and quoting.
///
/// Threads: any; nothing here holds state or takes a lock. Errors: a bool or the fallback value that stands
/// with the function; nothing is logged, and nothing is thrown on bad input.
#pragma once

#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// Turns every backslash into a slash. Repeated and trailing slashes stay.
NBI_EXPORT void PathFormat(std::string& path);

}  // namespace NS_UTIL
