/// \file
/// Collections at servers that share a book.
#pragma once

#include <vector>

#include "client/commands/outcomes.h"

namespace northbound {

/// Orders them one after the other, and asks the session's servers for their ends until all are over. Ctrl-C, SIGTERM and
/// SIGHUP cancel what is under way, and then end the process as ever.
Outcomes CollectShared(const Session& session, const std::vector<Northbound::CollectionOrder>& orders,
                       bool bShow);

}  // namespace northbound
