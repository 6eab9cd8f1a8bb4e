/// \file
/// The book that several servers share, in a PostgreSQL database.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "server/cluster/enginepool.h"
#include "server/cluster/heldclaims.h"
#include "server/operations/collectionbook.h"

namespace northbound {

struct PostgresBookSettings {
    std::string m_Connection;  // text for libpq, see CheckConnectionText()
    std::string m_Server;      // name of this server in the book; no other one has it
    std::string m_Address;     // where clients reach it
    std::string m_Version;     // of the program
    std::vector<std::string>
        m_Elements;  // network elements that it reaches, as in distinguished names: "ne=<name>"
    std::chrono::milliseconds m_Lease{6000};
    std::chrono::milliseconds m_Fence{5000};  // how long a claim is good here; shorter than the lease
    std::chrono::hours m_Kept =
        std::chrono::hours(7 * 24);  // collections that have ended, and servers that are gone
    std::size_t m_nConnections = 4;  // and one more for renewals
    EngineLimits m_Limits{};
};

/// The database must have the schema, see MigrateSchema(). Where the engine refuses what this program asks, functions
/// throw ProcessException INTERNAL, with what it says. Threads: any.
class PostgresBook final : public CollectionBook {
public:
    /// Does not connect.
    /// \throws std::invalid_argument when the settings make no sense
    explicit PostgresBook(PostgresBookSettings settings);

    void SetLimits(const CollectionLimits& limits) override;
    CollectionLimits Limits() const override;
    OrderAnswer Order(const CollectionOrder& order) override;
    void Cancel(const std::string& operation) override;
    std::optional<ClaimedCollection> Claim(const std::string& operation) override;
    void Report(const CollectionClaim& claim, unsigned int nTaken) override { m_Held.Report(claim, nTaken); }
    Standing StandingOf(const CollectionClaim& claim) const override { return m_Held.StandingOf(claim); }
    void Renew() override;
    bool Finish(const CollectionClaim& claim, const CollectionEnd& end) override;
    bool AwaitEnd(const std::string& operation, std::chrono::milliseconds limit) const override;
    std::optional<CollectionState> Find(const std::string& operation) const override;
    std::vector<CollectionState> Collections() const override;
    std::vector<ServerState> Servers() const override;

private:
    Rows Ask(const std::string& statement, const Cells& parameters) const;

    const PostgresBookSettings m_Settings;
    mutable EnginePool m_Engine;
    EnginePool m_RenewalEngine;  // of one connection: no crowd of orders keeps the leases from being renewed
    HeldClaims m_Held;
    mutable std::mutex m_Mutex;
    CollectionLimits m_Limits;  // guarded by m_Mutex
};

}  // namespace northbound
