/// \file
/// The shared book's tables and functions in the database, and their version.
#pragma once

namespace northbound {

class EngineConnection;

/// The version that this program reads and writes.
constexpr int SCHEMA_VERSION = 1;

/// What a database has of the schema.
enum class SchemaState { CURRENT, OLDER, NEWER, NONE };

/// \throws EngineAway, EngineRefusal
SchemaState StateOfSchema(EngineConnection& connection);

/// Brings a database to this program's version, in one transaction; nothing happens to one that has it. Any number of
/// programs may do so at once: one goes first, the others find its work done. A kill in the middle leaves the database
/// as it was.
/// \param connection of a user that may create in the database, with time enough: one call does all
/// \throws EngineRefusal also when the database is of a newer version, and nothing changes; EngineAway
void MigrateSchema(EngineConnection& connection);

}  // namespace northbound
