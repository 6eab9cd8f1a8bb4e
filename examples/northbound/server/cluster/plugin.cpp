/// \file
/// The plug-in nbi-book.so: what is in it for bookplugin.cpp.
#include <chrono>
#include <string>

#include "server/cluster/engineconnection.h"
#include "server/cluster/schema.h"

extern "C" __attribute__((visibility("default"))) void nbi_migrate_book(const std::string& connection)
{
    northbound::EngineLimits limits;
    limits.m_Call = std::chrono::minutes(1);
    northbound::EngineConnection engine(connection, limits);
    northbound::MigrateSchema(engine);
}
