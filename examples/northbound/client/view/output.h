/// \file
/// Standard output, and whether it arrives.
#pragma once

#include <string>

namespace northbound {

/// Sends on its way what has been printed.
/// \return false when that, or something before it, cannot be written
bool FlushOutput();

/// Why output was lost: the system's words for the first failure that FlushOutput() saw; "" where it has none.
std::string WhyOutputIsLost();

}  // namespace northbound
