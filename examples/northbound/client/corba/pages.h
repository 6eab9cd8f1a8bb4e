/// \file
/// The server's lists as a whole, and what its pools do. Each page of a list is a request of its own, held to the
/// session's timeout.
#pragma once

#include "client/corba/session.h"
#include "northbound.hh"

namespace northbound {

/// The caller owns what these return.
Northbound::PortList* AllPorts(const Session& session);
Northbound::HugeTaskList* AllTasks(const Session& session);
Northbound::StoredFileList* AllFiles(const Session& session);
Northbound::UserSessionList* AllSessions(const Session& session);
/// None where one server is alone, and of a server that knows no others.
Northbound::ServerList* AllServers(const Session& session);
/// Those that have not ended, oldest first; none of a server that knows no orders.
Northbound::OpenOrderList* AllOrders(const Session& session);
Northbound::PoolReport* Pools(const Session& session);

}  // namespace northbound
