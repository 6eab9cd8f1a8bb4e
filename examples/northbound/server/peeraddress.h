/// \file
/// Where a request comes from.
#pragma once

#include <string>

namespace northbound {

/// From now on the ORB notes each request's peer. Once, before requests are served.
void NotePeers();

/// "<address>:<port>" of the client whose request this thread of the ORB serves.
std::string PeerAddress();

}  // namespace northbound
