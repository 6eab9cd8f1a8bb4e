/// \file
/// The collections that were accepted, how many may be, and how far each has come.
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>

namespace northbound {

struct CollectionProgress {
    std::string m_Dn;
    std::string m_User;
    unsigned int m_nTaken = 0;
    unsigned int m_nPlanned = 0;
    bool m_bCancelled = false;
};

struct CollectionLimits {
    int m_nOverall = 0;  // 0: none at all
    int m_nPerPort = 0;  // one more than this, and 0 sets no limit
};

/// The collections from acceptance until their tasks are gone, by operation UUID without tags.
///
/// The limits are kept here, where counting and entering are one step. The library's book of huge tasks tests
/// the same limits, but knows a task only once a worker has taken it, so orders that come at one instant would
/// all be let in. Threads: any.
class CollectionBoard {
public:
    /// Collections that are entered stay.
    void SetLimits(const CollectionLimits& limits);
    CollectionLimits Limits() const;

    /// \return false, and nothing changes, when as many are entered as may be
    bool Enter(const std::string& operation, const CollectionProgress& progress);
    void Step(const std::string& operation);
    void Cancel(const std::string& operation);
    void Leave(const std::string& operation);

    /// Waits until \p operation has left; a second at most.
    void AwaitLeave(const std::string& operation) const;

    /// All zero and empty for an operation that is not on the board.
    CollectionProgress Find(const std::string& operation) const;

private:
    bool IsFullLocked(const std::string& dn) const;

    mutable std::mutex m_Mutex;
    mutable std::condition_variable m_Left;
    CollectionLimits m_Limits;                            // guarded by m_Mutex
    std::map<std::string, CollectionProgress> m_Entries;  // guarded by m_Mutex
    std::map<std::string, int> m_PortCounts;              // by distinguished name; guarded by m_Mutex
};

}  // namespace northbound
