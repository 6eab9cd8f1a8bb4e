#include "shared/localsocket.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace northbound {
namespace {

constexpr const char* NAME = "/nbi-server.sock";

/// One less: the path ends in a zero byte.
constexpr std::size_t MAX_PATH = sizeof(sockaddr_un::sun_path) - 1;

/// They part the address from what stands around it.
constexpr const char* SEPARATORS = ":,#@";

bool IsFolder(const std::string& path)
{
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::string RuntimeFolder()
{
    const char* const pRuntime = std::getenv("XDG_RUNTIME_DIR");
    if (pRuntime != nullptr && *pRuntime == '/') return std::string(pRuntime) + "/nbiutil";
    const std::string user = std::to_string(geteuid());
    const std::string runtime = "/run/user/" + user;
    return IsFolder(runtime) ? runtime + "/nbiutil" : "/tmp/nbiutil-" + user;
}

std::string DefaultSocket()
{
    return RuntimeFolder() + NAME;
}

std::string SocketPathFault(const std::string& path)
{
    if (path.empty() || path.front() != '/') return "is no absolute path";
    if (path.size() > MAX_PATH) return "is longer than " + std::to_string(MAX_PATH) + " bytes";
    if (path.find_first_of(SEPARATORS) != std::string::npos) {
        return std::string("has one of the characters ") + SEPARATORS;
    }
    return "";
}

std::string FolderFault(const std::string& folder, const std::optional<gid_t>& group)
{
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0) {
        return errno == ENOENT ? "" : std::string("cannot be looked at: ") + std::strerror(errno);
    }
    if (!S_ISDIR(status.st_mode)) return "is no folder";
    if (status.st_uid != geteuid()) return "belongs to another user";
    if (group && status.st_gid != *group) return "belongs to another group";
    const mode_t open = status.st_mode & (group ? S_IWGRP | S_IRWXO : S_IRWXG | S_IRWXO);
    if (open == 0) return "";
    return group ? "is open to other users; chmod 750 closes it"
                 : "is open to other users; chmod 700 closes it";
}

}  // namespace northbound
