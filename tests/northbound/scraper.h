/// \file
/// One that asks a server for its figures.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

namespace northbound {

class Scraper {
public:
    /// At a Unix socket.
    explicit Scraper(const std::string& path) : m_nSocket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address = AddressOf(path);
        Connect(address);
    }
    /// At a port of the loopback interface.
    explicit Scraper(int nPort) : m_nSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(nPort));
        Connect(address);
    }
    ~Scraper() { close(m_nSocket); }
    Scraper(const Scraper&) = delete;
    Scraper& operator=(const Scraper&) = delete;

    static sockaddr_un AddressOf(const std::string& path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        return address;
    }

    bool IsConnected() const { return m_bConnected; }

    void Ask(const std::string& request) const
    {
        EXPECT_EQ(send(m_nSocket, request.data(), request.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(request.size()));
    }
    /// All until the server closes the connection.
    std::string Answer() const
    {
        std::string answer;
        char bytes[4096];
        for (ssize_t nGot; (nGot = recv(m_nSocket, bytes, sizeof(bytes), 0)) > 0;) {
            answer.append(bytes, static_cast<std::size_t>(nGot));
        }
        return answer;
    }

private:
    template <class Address>
    void Connect(const Address& address)
    {
        m_bConnected = connect(m_nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

    const int m_nSocket;
    bool m_bConnected = false;
};

}  // namespace northbound
