#include "server/upkeep/logclaim.h"

#include <filesystem>

#include "server/upkeep/serversettings.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

bool IsAnybodys(const std::string& path)
{
    std::error_code error;
    return path.empty() || (fs::exists(path, error) && !fs::is_regular_file(path, error));
}

/// \return null for what is anybody's
std::shared_ptr<const LockFile> Claimed(const std::string& path)
{
    if (IsAnybodys(path)) return nullptr;
    auto pLock = std::make_shared<const LockFile>(path + ".lock");
    if (pLock->IsHeld() || !pLock->Fault().empty()) return pLock;
    throw SettingsError("log_file: " + path + " is another server's: process " + pLock->Holder() +
                        " writes it");
}

}  // namespace

LogClaim::LogClaim(const std::string& path) : m_Path(path), m_pLock(Claimed(path))
{
}

}  // namespace northbound
