/// \file
/// The claims of this process on collections of a shared book.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "server/operations/collectionbook.h"

namespace northbound {

/// Time that goes on while the machine sleeps: a server that wakes up after an hour must know that its leases are over.
using BootTime = std::chrono::nanoseconds;
BootTime BootTimeNow();

/// Tells a holder at once whether its claim is good, without the engine. Every claim is good for a time that is
/// shorter than the lease, and that begins before the lease does: when the book was asked, not when it answered. So a
/// claim is LOST here before another server may take it. LOST is for good, also when the lease was renewed after all,
/// since its holder may have stopped by then. Threads: any.
class HeldClaims {
public:
    struct Holding {
        CollectionClaim m_Claim;
        unsigned int m_nTaken = 0;
        CollectionOrder m_Order{};
    };
    struct Renewed {
        CollectionClaim m_Claim;
        bool m_bCancelled = false;
    };

    /// \param fence how long a claim is good
    explicit HeldClaims(std::chrono::milliseconds fence, std::function<BootTime()> now = BootTimeNow)
        : m_Fence(fence), m_Now(std::move(now))
    {
    }

    BootTime Now() const { return m_Now(); }

    /// \param asked when the book was asked for it
    void Add(const Holding& holding, bool bCancelled, BootTime asked);
    void Remove(const CollectionClaim& claim);
    /// Before the next renewal tells it.
    void Cancel(const std::string& operation);
    void Report(const CollectionClaim& claim, unsigned int nTaken);
    Standing StandingOf(const CollectionClaim& claim) const;
    unsigned int Taken(const CollectionClaim& claim) const;
    std::optional<CollectionState> Find(const std::string& operation) const;

    /// Those that are not LOST; the others are forgotten.
    std::vector<Holding> All();

    /// Of \p asked, those in \p renewed are good from \p when on; the others are LOST.
    void Renew(const std::vector<Holding>& asked, const std::vector<Renewed>& renewed, BootTime when);

private:
    struct Entry {
        std::uint64_t m_nToken = 0;
        unsigned int m_nTaken = 0;
        BootTime m_Since{};
        bool m_bCancelled = false;
        CollectionOrder m_Order{};
        mutable bool m_bLost = false;
    };

    const Entry* FindLocked(const CollectionClaim& claim) const;
    Entry* FindLocked(const CollectionClaim& claim);
    bool IsLostLocked(const Entry& entry) const;

    const std::chrono::nanoseconds m_Fence;
    const std::function<BootTime()> m_Now;
    mutable std::mutex m_Mutex;
    std::map<std::string, Entry> m_Entries;  // by operation; guarded by m_Mutex
};

}  // namespace northbound
