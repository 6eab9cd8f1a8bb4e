/// \file
/// The ORB with its one endpoint and its one object.
#pragma once

#include <omniORB4/CORBA.h>

#include <stdexcept>
#include <string>

namespace northbound {

/// The ORB cannot listen where it was told to; what() is one line that says where.
class EndpointError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Serves one object under OBJECT_KEY on threads of the ORB's own, from construction to Shutdown().
class OrbEndpoint {
public:
    /// \param nPort 0 for any free one
    /// \throws EndpointError
    OrbEndpoint(const std::string& address, int nPort, PortableServer::ServantBase& servant);
    ~OrbEndpoint();
    OrbEndpoint(const OrbEndpoint&) = delete;
    OrbEndpoint& operator=(const OrbEndpoint&) = delete;

    int Port() const { return m_nPort; }

    /// Takes no more requests, and returns when those under way are answered; half a second at least, for the
    /// last answers to leave. Only the first call does anything.
    void Shutdown();

private:
    int Activate(PortableServer::ServantBase& servant);

    CORBA::ORB_var m_Orb;
    int m_nPort = 0;
};

}  // namespace northbound
