#include "server/cluster/bookplugin.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace northbound {
namespace {

namespace fs = std::filesystem;

constexpr const char* FILE_NAME = "nbi-book.so";
constexpr const char* MIGRATE = "nbi_migrate_book";  // void(const std::string&)

/// Beside the program, or where an installation has it; never where the environment points, since a server may run as
/// another user than who starts it.
std::string PluginFile()
{
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const fs::path& place : {folder, folder / NBI_PLUGINS_FROM_PROGRAM}) {
        if (fs::exists(place / FILE_NAME, error)) return (place / FILE_NAME).lexically_normal().string();
    }
    throw std::runtime_error(std::string(FILE_NAME) + " is not installed");
}

/// It stays loaded: whatever it has thrown or made is its code.
void* Load(const std::string& file, const char* pSymbol)
{
    void* const pPlugin = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const pFound = pPlugin == nullptr ? nullptr : dlsym(pPlugin, pSymbol);
    if (pFound == nullptr) throw std::runtime_error(dlerror());
    return pFound;
}

}  // namespace

void MigrateThroughPlugin(const std::string& connection)
{
    using Migrate = void (*)(const std::string&);
    reinterpret_cast<Migrate>(Load(PluginFile(), MIGRATE))(connection);
}

}  // namespace northbound
