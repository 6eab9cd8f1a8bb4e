/// \file
/// What the ORB keeps behind its public interface: the peer of a request, and the port of an endpoint. The
/// source of this header alone includes headers that the ORB does not promise to keep.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>

namespace northbound {

/// From now on the ORB notes each request's peer. Once, before requests are served.
void NotePeers();

struct Peer {
    std::string m_Address;  // "<address>:<port>"; "local" for one without
    bool m_bLocal = false;  // came through the local socket
};

/// The client whose request this thread of the ORB serves.
const Peer& CurrentPeer();

/// The port that the ORB serves \p object on; -1 without an internet endpoint.
int InternetPortOf(CORBA::Object_ptr object);

}  // namespace northbound
