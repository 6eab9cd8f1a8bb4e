/// \file
/// How far each collection has come.
#pragma once

#include <map>
#include <mutex>
#include <string>

namespace northbound {

struct CollectionProgress {
    std::string m_Dn;
    std::string m_User;
    unsigned int m_nTaken = 0;
    unsigned int m_nPlanned = 0;
};

/// The collections that exist, by operation UUID without tags. The library's book of huge tasks knows which of
/// them run; this one adds what only the example knows about them. Threads: any.
class CollectionBoard {
public:
    void Enter(const std::string& operation, const CollectionProgress& progress);
    void Step(const std::string& operation);
    void Leave(const std::string& operation);

    /// All zero and empty for an operation that is not on the board.
    CollectionProgress Find(const std::string& operation) const;

private:
    mutable std::mutex m_Mutex;
    std::map<std::string, CollectionProgress> m_Entries;  // guarded by m_Mutex
};

}  // namespace northbound
