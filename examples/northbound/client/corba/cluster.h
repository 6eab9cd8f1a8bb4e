/// \file
/// The servers that share a book.
#pragma once

#include <vector>

#include "client/corba/session.h"
#include "northbound.hh"

namespace northbound {

/// The servers that orders go to, one after the other: those whose lease is not over first, of these the least loaded
/// ones, and in an order of chance where that is the same, so that many clients do not all go to one. At most 100.
std::vector<Neighbour> ByLoad(const Northbound::ServerList& servers);

/// Asks the session's server for those that share its book. From then on Read() goes to the one with the least to do, and
/// to the others when it does not answer.
/// \return false, and nothing changes, where one server is alone
/// \throws as Session::Read()
bool JoinCluster(const Session& session);

}  // namespace northbound
