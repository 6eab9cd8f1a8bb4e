/// \file
/// The client's way to the server.
#pragma once

#include <omniORB4/CORBA.h>

#include <chrono>
#include <string>
#include <vector>

#include "northbound.hh"

namespace northbound {

/// The process's ORB and the server's object: one at a time. No connection is made before the first request.
/// Threads: any may send requests; each has a connection of its own.
class Session {
public:
    /// \param server  "<host>:<port>" or "unix:<path>"
    /// \param key     of the user's session there; "" without one
    /// \param timeout for the calling thread's requests, as LimitAnswerTime() sets it
    /// \throws CORBA::SystemException when \p server is no such text
    Session(const std::string& server, const std::string& user, const std::string& key = "",
            std::chrono::milliseconds timeout = std::chrono::seconds(30));
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Northbound::Manager_ptr Server() const { return m_Manager.in(); }
    const Northbound::Caller& Who() const { return m_Who; }

    const std::string& Address() const { return m_Address; }
    std::chrono::milliseconds Timeout() const { return m_Timeout; }

    /// Returns when the server answers.
    /// \throws CORBA::SystemException when it does not, CORBA::TIMEOUT when it takes longer than the timeout
    void Ping() const;

    /// Whether the server has stopped. One that is stopping turns requests away, but is still there.
    bool IsGone() const;

    /// The distinguished names of ports given by their names alone. What contains "=" or is the name of no
    /// port is returned as it is: the server knows best. At most one request.
    std::vector<std::string> DnsOf(const std::vector<std::string>& ports) const;

    /// From now on the calling thread's requests fail when they are not answered within this time.
    static void LimitAnswerTime(unsigned int nMilliseconds);

    /// What the ORB says about \p failure, in a few words.
    static std::string ReasonOf(const CORBA::SystemException& failure);

private:
    CORBA::ORB_var m_Orb;
    Northbound::Manager_var m_Manager;
    Northbound::Caller m_Who;
    const std::string m_Address;
    const std::chrono::milliseconds m_Timeout;
};

}  // namespace northbound
