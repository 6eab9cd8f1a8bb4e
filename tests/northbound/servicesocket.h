/// \file
/// The side of a service manager: the socket that it names, and what arrives there.
#pragma once

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace northbound {

/// While it lives, $NOTIFY_SOCKET names it.
class ServiceSocket {
public:
    /// \param name of a file, or of the kernel's when it begins with '@'
    explicit ServiceSocket(const std::string& name) : m_nSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        constexpr timeval LIMIT{60, 0};
        setsockopt(m_nSocket, SOL_SOCKET, SO_RCVTIMEO, &LIMIT, sizeof(LIMIT));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (name[0] == '@') address.sun_path[0] = '\0';
        const auto nLength = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        if (bind(m_nSocket, reinterpret_cast<const sockaddr*>(&address), nLength) != 0) {
            throw std::runtime_error("no socket " + name);
        }
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
    }
    ~ServiceSocket()
    {
        unsetenv("NOTIFY_SOCKET");
        close(m_nSocket);
    }
    ServiceSocket(const ServiceSocket&) = delete;
    ServiceSocket& operator=(const ServiceSocket&) = delete;

    /// \return the next state; "" when none has come for a minute
    std::string Next() const
    {
        char text[512];
        const ssize_t nGot = recv(m_nSocket, text, sizeof(text), 0);
        return nGot > 0 ? std::string(text, static_cast<std::size_t>(nGot)) : "";
    }

private:
    const int m_nSocket;
};

}  // namespace northbound
