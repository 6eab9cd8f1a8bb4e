/// \file
/// Where a program of the example finds its configuration.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

namespace northbound {

/// The path of \p name in the folder of the running program.
inline std::string BesideProgram(const std::string& name)
{
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return (self.parent_path() / name).string();
}

}  // namespace northbound
