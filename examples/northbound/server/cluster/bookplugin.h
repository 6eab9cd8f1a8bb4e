/// \file
/// What nbi-server takes from the engine's library, which it loads only when it is asked for.
#pragma once

#include <memory>
#include <string>

#include "server/cluster/booksettings.h"
#include "server/operations/collectionbook.h"

namespace northbound {

/// Loads the plug-in, and brings the database that \p connection names to this program's version.
/// \throws std::runtime_error when the plug-in cannot be loaded, std::invalid_argument for a text that is none; what
///         MigrateSchema() throws
void MigrateThroughPlugin(const std::string& connection);

/// Loads the plug-in, and makes a book in it. Does not connect.
/// \throws std::runtime_error when the plug-in cannot be loaded, std::invalid_argument as PostgresBook
std::unique_ptr<CollectionBook> BookThroughPlugin(const PostgresBookSettings& settings);

/// What keeps servers from using the database: the engine is away, or has another schema than this program's. Takes
/// some seconds at most.
/// \return "" where nothing does
/// \throws as BookThroughPlugin()
std::string TroubleThroughPlugin(const std::string& connection);

}  // namespace northbound
