#include "server/cluster/bookplugin.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace northbound {
namespace {

namespace fs = std::filesystem;

constexpr const char* FILE_NAME = "nbi-book.so";

using Migrate = void (*)(const std::string&);
using MakeBook = CollectionBook* (*)(const PostgresBookSettings&);
using LookAtBook = void (*)(const std::string&, std::string&);

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
template <class Function>
Function Load(const char* pSymbol)
{
    void* const pPlugin = dlopen(PluginFile().c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const pFound = pPlugin == nullptr ? nullptr : dlsym(pPlugin, pSymbol);
    if (pFound == nullptr) throw std::runtime_error(dlerror());
    return reinterpret_cast<Function>(pFound);
}

}  // namespace

void MigrateThroughPlugin(const std::string& connection)
{
    Load<Migrate>("nbi_migrate_book")(connection);
}

std::unique_ptr<CollectionBook> BookThroughPlugin(const PostgresBookSettings& settings)
{
    return std::unique_ptr<CollectionBook>(Load<MakeBook>("nbi_make_book")(settings));
}

std::string TroubleThroughPlugin(const std::string& connection)
{
    std::string trouble;
    Load<LookAtBook>("nbi_look_at_book")(connection, trouble);
    return trouble;
}

}  // namespace northbound
