/// \file
/// The kernel's tables with one row per port, such as /proc/net/dev.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace northbound {

/// The rows of one of the kernel's tables, "name: figure figure ...", by name.
using KernelTable = std::map<std::string, std::vector<std::string>>;

/// None when the file cannot be read. Lines without a name, like those of the heading, are left out.
std::optional<KernelTable> ReadKernelTable(const std::string& path);

}  // namespace northbound
