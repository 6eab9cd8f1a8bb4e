#include "server/upkeep/socketclaim.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

#include "shared/localsocket.h"

namespace northbound {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& why)
{
    throw SocketError("cannot listen on " + (SOCKET_SCHEME + path) + ": " + why);
}

std::optional<gid_t> GroupNamed(const std::string& path, const std::string& name)
{
    if (name.empty()) return std::nullopt;
    const group* const pGroup = getgrnam(name.c_str());
    if (pGroup == nullptr) Refuse(path, "there is no group " + name);
    return pGroup->gr_gid;
}

/// What is made in the folder later is the group's too.
bool OpenTo(gid_t group, const std::string& folder)
{
    return chown(folder.c_str(), static_cast<uid_t>(-1), group) == 0 &&
           chmod(folder.c_str(), S_ISGID | S_IRWXU | S_IRGRP | S_IXGRP) == 0;
}

void MakeFolder(const std::string& path, const std::optional<gid_t>& group)
{
    const std::string folder = std::filesystem::path(path).parent_path().string();
    const bool bMade = mkdir(folder.c_str(), S_IRWXU) == 0;
    if (!bMade && errno != EEXIST) {
        Refuse(path, "the folder cannot be made: " + std::string(std::strerror(errno)));
    }
    if (bMade && group && !OpenTo(*group, folder)) {
        Refuse(path, folder + " cannot be opened to the group: " + std::strerror(errno));
    }
    const std::string fault = FolderFault(folder, group);
    if (!fault.empty()) Refuse(path, folder + " " + fault);
}

void CheckName(const std::string& path)
{
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && !S_ISSOCK(status.st_mode)) {
        Refuse(path, "something else has that name");
    }
}

}  // namespace

SocketClaim::SocketClaim(const std::string& path, const std::string& group)
{
    if (path.empty()) return;
    const std::string fault = SocketPathFault(path);
    if (!fault.empty()) Refuse(path, "the path " + fault);
    MakeFolder(path, GroupNamed(path, group));
    CheckName(path);
    m_Lock.emplace(path + ".lock");
    if (!m_Lock->Fault().empty()) Refuse(path, m_Lock->Fault());
    if (!m_Lock->IsHeld()) Refuse(path, "another server serves there");
}

}  // namespace northbound
