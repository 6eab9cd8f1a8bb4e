#include "server/upkeep/socketclaim.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "shared/localsocket.h"

namespace northbound {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& why)
{
    throw SocketError("cannot listen on " + (SOCKET_SCHEME + path) + ": " + why);
}

void MakeFolder(const std::string& path)
{
    const std::string folder = std::filesystem::path(path).parent_path().string();
    if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        Refuse(path, "the folder cannot be made: " + std::string(std::strerror(errno)));
    }
    const std::string fault = FolderFault(folder);
    if (!fault.empty()) Refuse(path, folder + " " + fault);
}

int Lock(const std::string& path)
{
    const std::string name = path + ".lock";
    const int nLock = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (nLock < 0) Refuse(path, name + " cannot be opened: " + std::strerror(errno));
    if (flock(nLock, LOCK_EX | LOCK_NB) == 0) return nLock;
    close(nLock);
    Refuse(path, "another server serves there");
}

void CheckName(const std::string& path)
{
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && !S_ISSOCK(status.st_mode)) {
        Refuse(path, "something else has that name");
    }
}

}  // namespace

SocketClaim::SocketClaim(const std::string& path)
{
    if (path.empty()) return;
    const std::string fault = SocketPathFault(path);
    if (!fault.empty()) Refuse(path, "the path " + fault);
    MakeFolder(path);
    CheckName(path);
    m_nLock = Lock(path);
}

SocketClaim::~SocketClaim()
{
    if (m_nLock >= 0) close(m_nLock);
}

}  // namespace northbound
