/// \file
/// The plug-in nbi-book.so: what is in it for bookplugin.cpp.
#include <chrono>
#include <exception>
#include <string>

#include "server/cluster/engineconnection.h"
#include "server/cluster/postgresbook.h"
#include "server/cluster/schema.h"

namespace {

/// "" where servers find what they need.
std::string TroubleWith(northbound::SchemaState state)
{
    switch (state) {
        case northbound::SchemaState::CURRENT:
            return "";
        case northbound::SchemaState::OLDER:
            return "the database has an older schema; nbi-server --migrate brings it to this version";
        case northbound::SchemaState::NEWER:
            return "the database has a newer schema; this program is too old for it";
        default:
            return "the database has no schema; nbi-server --migrate makes it";
    }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void nbi_migrate_book(const std::string& connection)
{
    northbound::EngineLimits limits;
    limits.m_Call = std::chrono::minutes(1);
    northbound::EngineConnection engine(connection, limits);
    northbound::MigrateSchema(engine);
}

extern "C" __attribute__((visibility("default"))) northbound::CollectionBook* nbi_make_book(
    const northbound::PostgresBookSettings& settings)
{
    return new northbound::PostgresBook(settings);
}

extern "C" __attribute__((visibility("default"))) void nbi_look_at_book(const std::string& connection,
                                                                        std::string& trouble)
{
    northbound::EngineLimits limits;
    limits.m_Call = std::chrono::seconds(3);
    northbound::EngineConnection engine(connection, limits);
    try {
        trouble = TroubleWith(northbound::StateOfSchema(engine));
    } catch (const std::exception& e) {
        trouble = e.what();
    }
}
