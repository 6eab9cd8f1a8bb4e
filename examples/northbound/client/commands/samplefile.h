/// \file
/// The files of collections, read where they lie.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "client/view/curves.h"

namespace northbound {

constexpr std::size_t LONGEST_SAMPLE_FILE = std::size_t{64} << 20;  // bytes
constexpr std::size_t MOST_COLUMNS = 1000;                          // the time among them
constexpr std::size_t MOST_FIGURES = 8;

/// Reads \p figures of a collection that has ended or is under way, of which a last line may be half there.
/// \param figures none: those of the file's first unit
/// \throws InputError when there is no such file, it is longer than LONGEST_SAMPLE_FILE or is no collection's, as one
///         with more than MOST_COLUMNS is; and for a figure that it does not have, or more than MOST_FIGURES
Samples ReadSamples(const std::string& path, const std::vector<std::string>& figures);

}  // namespace northbound
