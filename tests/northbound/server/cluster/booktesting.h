/// \file
/// Books of several servers in one database.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "nbiutil/processexception.h"
#include "northbound/server/cluster/privateengine.h"
#include "server/cluster/postgresbook.h"
#include "server/cluster/schema.h"

namespace northbound {

/// A connection with time for what a test prepares on a busy machine.
inline EngineConnection PatientConnection(const PrivateEngine& engine)
{
    EngineLimits limits;
    limits.m_Call = std::chrono::minutes(1);
    return EngineConnection(engine.Text(), limits);
}

/// The code of the ProcessException that \p call throws; 0 without one.
template <class Call>
unsigned int CodeOf(Call call)
{
    try {
        call();
    } catch (const NS_UTIL::ProcessException& e) {
        return e.GetErrorCode();
    }
    return 0;
}

class SharedBookTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!HasEngine()) GTEST_SKIP() << NO_ENGINE;
        m_pEngine = &SharedEngine();
        EngineConnection connection = PatientConnection(*m_pEngine);
        MigrateSchema(connection);
    }

    /// As each test wants it; leases do not run out by themselves, and calls have time on a busy machine.
    PostgresBookSettings SettingsOf(const std::string& server) const
    {
        PostgresBookSettings settings;
        settings.m_Connection = m_pEngine->Text();
        settings.m_Server = server;
        settings.m_Address = server + ".example.org:12809";
        settings.m_Version = "1";
        settings.m_Elements = {"ne=one", "ne=two"};
        settings.m_Lease = std::chrono::hours(2);
        settings.m_Fence = std::chrono::hours(1);
        settings.m_Limits.m_Call = std::chrono::seconds(30);
        return settings;
    }

    static std::unique_ptr<PostgresBook> BookWith(const PostgresBookSettings& settings)
    {
        auto pBook = std::make_unique<PostgresBook>(settings);
        pBook->SetLimits({100, 0});
        return pBook;
    }
    std::unique_ptr<PostgresBook> BookOf(const std::string& server) const
    {
        return BookWith(SettingsOf(server));
    }

    static CollectionOrder OrderOf(const std::string& operation, const std::string& dn = "ne=one,port=lo")
    {
        return {operation, dn, "alice", 1000, 9000};
    }

    /// What the engine says to a statement that has one answer.
    std::string Asked(const std::string& statement) const
    {
        EngineConnection connection = PatientConnection(*m_pEngine);
        const Rows rows = connection.Execute(statement);
        return rows.empty() ? "" : rows[0].at(0).value_or("NULL");
    }

    /// As if the lease of everything that runs had been over for a while.
    void EndLeases() const
    {
        Asked(
            "UPDATE nbi.collection SET lease_until = clock_timestamp() - interval '1 second' WHERE phase = "
            "1");
    }

    PrivateEngine* m_pEngine = nullptr;
};

}  // namespace northbound
