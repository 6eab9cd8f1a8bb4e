/// \file
/// Dotted IPv4 addresses.
#pragma once

#include <string_view>

namespace NS_UTIL {

/// IpStr2Long() for a part of a text.
bool ReadAddress(std::string_view text, long& nAddress);

}  // namespace NS_UTIL
