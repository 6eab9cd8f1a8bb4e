/// \file
/// What nbi-server takes from the engine's library, which it loads only when it is asked for.
#pragma once

#include <string>

namespace northbound {

/// Loads the plug-in, and brings the database that \p connection names to this program's version.
/// \throws std::runtime_error when the plug-in cannot be loaded, std::invalid_argument for a text that is none; what
///         MigrateSchema() throws
void MigrateThroughPlugin(const std::string& connection);

}  // namespace northbound
