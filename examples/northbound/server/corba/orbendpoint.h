/// \file
/// The ORB with its endpoints and its one object.
#pragma once

#include <omniORB4/CORBA.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "server/upkeep/serversettings.h"

namespace northbound {

/// The ORB cannot listen where it was told to; what() is one line that says where.
class EndpointError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Serves one object under OBJECT_KEY on threads of the ORB's own, from construction to Shutdown().
class OrbEndpoint {
public:
    /// \param places at least one; the socket's path is claimed
    /// \throws EndpointError
    /// \throws TlsError
    OrbEndpoint(const Listening& places, const ConnectionLimits& connections,
                PortableServer::ServantBase& servant);
    ~OrbEndpoint();
    OrbEndpoint(const OrbEndpoint&) = delete;
    OrbEndpoint& operator=(const OrbEndpoint&) = delete;

    /// "<host>:<port>", with TLS "tls:<host>:<port>", or "unix:<path>" of a server without TCP.
    const std::string& Address() const { return m_Addresses.front(); }
    const std::vector<std::string>& Addresses() const { return m_Addresses; }

    /// Takes no more requests, and returns when those under way are answered; half a second at least, for the
    /// last answers to leave. Only the first call does anything.
    void Shutdown();

private:
    CORBA::Object_var Activate(PortableServer::ServantBase& servant);

    CORBA::ORB_var m_Orb;
    std::vector<std::string> m_Addresses;
};

}  // namespace northbound
