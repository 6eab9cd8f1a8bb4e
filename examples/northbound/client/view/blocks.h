/// \file
/// Characters that are filled from below, for pictures on a terminal.
#pragma once

#include <array>

namespace northbound {

/// From one eighth to a full block.
constexpr std::array<const char*, 8> BLOCKS = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

}  // namespace northbound
