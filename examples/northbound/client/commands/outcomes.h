/// \file
/// What has become of the collections that a command has ordered, and of the packing behind them.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>

#include "client/commands/commands.h"
#include "northbound.hh"

namespace northbound {

/// One collection that is over for the client: it has a result or a failure.
struct Outcome {
    std::string m_Dn;  // what the server calls the port; a refusal does not tell
    std::unique_ptr<Northbound::CollectionResult> m_pResult;
    std::optional<Failure> m_Failure;
    std::optional<Northbound::PartList> m_Parts;  // of the servers that share a book
};
using Outcomes = std::list<Outcome>;

/// Packs the files on the session's server, where that is asked for and there is one; then prints all.
/// \return the exit code of the worst
int PackAndReport(const Session& session, const OutputOptions& output, const CollectOptions& options,
                  const Outcomes& outcomes);

}  // namespace northbound
