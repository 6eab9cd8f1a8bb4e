/// \file
/// The book of a server that is alone, in its memory.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "server/operations/collectionbook.h"

namespace northbound {

/// The collections from acceptance until their end, by operation UUID without tags; none outlives the process. A holder
/// is there as long as the process, so nothing has to be renewed, and only the first claim of a collection succeeds.
///
/// The limits are kept here, where counting and entering are one step. The library's book of huge tasks tests
/// the same limits, but knows a task only once a worker has taken it, so orders that come at one instant would
/// all be let in. Of those that have ended it keeps the last MOST_ENDED, for whoever has ordered without waiting.
/// Threads: any; no function waits but AwaitEnd(), and none throws BOOK_AWAY.
class LocalBook final : public CollectionBook {
public:
    static constexpr std::size_t MOST_ENDED = 1000;

    void SetLimits(const CollectionLimits& limits) override;
    CollectionLimits Limits() const override;
    OrderAnswer Order(const CollectionOrder& order) override;
    void Cancel(const std::string& operation) override;
    std::optional<ClaimedCollection> Claim(const std::string& operation) override;
    void Report(const CollectionClaim& claim, unsigned int nTaken) override;
    Standing StandingOf(const CollectionClaim& claim) const override;
    void Renew() override {}
    void Abandon(const CollectionClaim& /*claim*/) override {}
    void Leave() override {}
    /// Keeps no \p end of NOT_CARRIED_OUT: whoever waits for the task itself has the end from there.
    bool Finish(const CollectionClaim& claim, const CollectionEnd& end) override;
    bool AwaitEnd(const std::string& operation, std::chrono::milliseconds limit) const override;
    std::optional<CollectionState> Find(const std::string& operation) const override;
    std::optional<CollectionState> FindHeld(const std::string& operation) const override
    {
        return Find(operation);
    }
    std::vector<CollectionState> Collections() const override;
    void SetAddress(const std::string& /*address*/) override {}
    std::vector<ServerState> Servers() const override { return {}; }

private:
    using Entries = std::map<std::string, CollectionState>;

    bool IsFullLocked(const std::string& dn) const;
    Entries::iterator ClaimableLocked(const std::string& operation);
    bool IsHeldLocked(const CollectionClaim& claim) const;
    void EraseLocked(Entries::iterator entry);
    void KeepLocked(CollectionState state, const CollectionEnd& end);

    mutable std::mutex m_Mutex;
    mutable std::condition_variable m_Left;
    CollectionLimits m_Limits;                // guarded by m_Mutex
    Entries m_Entries;                        // guarded by m_Mutex
    Entries m_Ended;                          // guarded by m_Mutex
    std::map<std::string, int> m_PortCounts;  // by distinguished name; guarded by m_Mutex
    std::uint64_t m_nAccepted = 0;            // guarded by m_Mutex
};

}  // namespace northbound
