#include "shared/configfile.h"

#include <filesystem>
#include <system_error>

namespace northbound {

namespace fs = std::filesystem;

std::string ConfigFile(const std::string& name)
{
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    // The installation's folder is known from the program's, so that an installation may be moved.
    for (const fs::path& place : {folder, folder / NBI_CONFIG_FROM_PROGRAM, fs::path("/etc/nbiutil")}) {
        if (fs::exists(place / name, error)) return (place / name).lexically_normal().string();
    }
    return (folder / name).string();
}

}  // namespace northbound
