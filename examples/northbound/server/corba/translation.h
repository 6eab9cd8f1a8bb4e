/// \file
/// The operations' plain structs as the interface's own.
#pragma once

#include "northbound.hh"
#include "server/operations/service.h"

namespace northbound {

/// The caller owns what these return, as the skeletons want it.
Northbound::PortPage* ToIdl(const Inventory::Result& result);
Northbound::ColumnList* ToIdl(const Columns::Result& result);
Northbound::Reading* ToIdl(const ReadCounters::Result& result);
Northbound::CollectionResult* ToIdl(const Collect::Result& result);
Northbound::HugeTaskPage* ToIdl(const HugeTasks::Result& result);
Northbound::Bytes* ToIdl(const PublicKey::Result& result);
Northbound::UserSessionPage* ToIdl(const Sessions::Result& result);
Northbound::StoredFilePage* ToIdl(const Files::Result& result);
Northbound::PackResult* ToIdl(const Pack::Result& result);
Northbound::OrderState* ToIdl(const Await::Result& result);
Northbound::OpenOrderPage* ToIdl(const Orders::Result& result);
Northbound::ServerPage* ToIdl(const Servers::Result& result);
Northbound::PartPiece* ToIdl(const Fetch::Result& result);
Northbound::PoolReport* ToIdl(const Pools::Result& result);

}  // namespace northbound
