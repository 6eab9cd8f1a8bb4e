/// \file
/// Curves on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "client/view/curves.h"

namespace northbound {

/// A curve of block characters with its two axes: a heading, rows that begin with the highest value and end with 0, and
/// the first and the last time of the day. What is unknown is blank; 0 is not.
/// \param nColumns that a line may take
std::vector<std::string> BlockChart(const Curve& curve, std::size_t nColumns);

}  // namespace northbound
