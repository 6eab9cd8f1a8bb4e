/// \file
/// Points in time as the server tells them.
#pragma once

#include <string>

namespace northbound {

/// The present time, UTC, as "2001-02-03T04:05:06.789Z". For people: what is measured goes by the steady clock.
std::string TimeText();

}  // namespace northbound
