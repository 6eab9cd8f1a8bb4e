/// \file
/// What the ORB keeps behind its public interface: the peer of a request, its connections, and where it listens. The
/// source of this header alone includes headers that the ORB does not promise to keep.
#pragma once

#include <omniORB4/CORBA.h>

#include <cstddef>
#include <string>

namespace northbound {

/// From now on the ORB notes each request's peer. Once, before requests are served.
void NotePeers();

struct Peer {
    std::string m_Address;      // "<address>:<port>"; "local" for one without
    bool m_bLocal = false;      // came through the local socket
    bool m_bEncrypted = false;  // came by TLS
    int m_nSocket = -1;         // open for as long as the request is under way
};

/// Whether the other side of \p nSocket has closed it.
bool HasHungUp(int nSocket);

/// The client whose request this thread of the ORB serves.
const Peer& CurrentPeer();

/// Connections that may be open. Those of the local socket have some of their own, so that a crowd from the network keeps
/// no administrator out.
constexpr std::size_t LOCAL_CONNECTIONS = 16;

/// From now on the ORB closes a connection at once when \p nMost are open, and tells the log once a minute. Once, before
/// requests are served.
void LimitConnections(std::size_t nMost);

/// The ORB lets five clients wait at its local socket until it takes them, and a sixth finds no server there: a client does
/// not wait to connect. From now on as many wait as the system allows, as they do with TCP. Once the ORB listens.
/// \param path the socket's
void LengthenQueue(const std::string& path);

/// The port that the ORB serves \p object on, by TCP or by TLS; -1 without an internet endpoint.
int InternetPortOf(CORBA::Object_ptr object);

}  // namespace northbound
