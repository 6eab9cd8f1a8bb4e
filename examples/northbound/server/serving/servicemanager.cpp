#include "server/serving/servicemanager.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "nbihost/standalone.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "servicemanager";

/// A manager that does not read its socket must not hold the server up.
constexpr timeval SEND_LIMIT{1, 0};

std::string TakeFromEnvironment(const char* pName)
{
    const char* const pValue = std::getenv(pName);
    const std::string value = pValue == nullptr ? "" : pValue;
    unsetenv(pName);
    return value;
}

std::chrono::microseconds TakeBeatInterval()
{
    const std::string limit = TakeFromEnvironment("WATCHDOG_USEC");
    const std::string process = TakeFromEnvironment("WATCHDOG_PID");
    if (!process.empty() && process != std::to_string(getpid())) return std::chrono::microseconds::zero();
    const long long nLimit = std::strtoll(limit.c_str(), nullptr, 10);  // what is no number: 0
    return std::chrono::microseconds(nLimit > 0 ? nLimit / 2 : 0);
}

/// \return nothing when \p path is too long for an address.
std::optional<sockaddr_un> AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) return std::nullopt;
    path.copy(address.sun_path, path.size());
    if (address.sun_path[0] == '@') address.sun_path[0] = '\0';  // a name of the kernel's, not of a file
    return address;
}

/// \return whether all of it was sent; errno tells why not.
bool Send(const std::string& path, const std::string& text)
{
    errno = ENAMETOOLONG;
    const std::optional<sockaddr_un> address = AddressOf(path);
    const int nSocket = address ? socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0) : -1;
    if (nSocket < 0) return false;
    setsockopt(nSocket, SOL_SOCKET, SO_SNDTIMEO, &SEND_LIMIT, sizeof(SEND_LIMIT));
    const auto nLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const ssize_t nSent = sendto(nSocket, text.data(), text.size(), MSG_NOSIGNAL,
                                 reinterpret_cast<const sockaddr*>(&*address), nLength);
    const int nError = errno;
    close(nSocket);
    errno = nError;
    return nSent == static_cast<ssize_t>(text.size());
}

}  // namespace

ServiceManager::ServiceManager()
    : m_Socket(TakeFromEnvironment("NOTIFY_SOCKET")), m_BeatInterval(TakeBeatInterval())
{
}

void ServiceManager::Tell(const std::string& state) const
{
    if (m_Socket.empty() || Send(m_Socket, state)) return;
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s: %s cannot be told: %s", m_Socket.c_str(),
                 state.c_str(), std::strerror(errno));
}

void ServiceManager::TellReloading() const
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    Tell("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

}  // namespace northbound
