/// \file
/// The book that several servers share, in a PostgreSQL database.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "server/cluster/booksettings.h"
#include "server/cluster/enginepool.h"
#include "server/cluster/heldclaims.h"
#include "server/operations/collectionbook.h"

namespace northbound {

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
    void Abandon(const CollectionClaim& claim) override { m_Held.Remove(claim); }
    void Leave() override;
    bool Finish(const CollectionClaim& claim, const CollectionEnd& end) override;
    bool AwaitEnd(const std::string& operation, std::chrono::milliseconds limit) const override;
    std::optional<CollectionState> Find(const std::string& operation) const override;
    std::optional<CollectionState> FindHeld(const std::string& operation) const override
    {
        return m_Held.Find(operation);
    }
    std::vector<CollectionState> Collections() const override;
    void SetAddress(const std::string& address) override;
    std::vector<ServerState> Servers() const override;

private:
    std::string Address() const;
    Rows Ask(const std::string& statement, const Cells& parameters) const;

    const PostgresBookSettings m_Settings;
    mutable EnginePool m_Engine;
    EnginePool m_RenewalEngine;  // of one connection: no crowd of orders keeps the leases from being renewed
    HeldClaims m_Held;
    mutable std::mutex m_Mutex;
    CollectionLimits m_Limits;  // guarded by m_Mutex
    std::string m_Address;      // guarded by m_Mutex
};

}  // namespace northbound
