/// \file
/// Reasons by code. Internal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace NS_UTIL {

/// A hash table whose entries lie in one array: a look-up among 100,000 codes waits for memory twice, for the
/// entry and for its text, and a tree of nodes waits some 15 times. Codes are never taken out again.
/// Threads: like a text, changed by one thread at a time.
class ReasonTable {
public:
    /// \return null when nothing was entered under \p nCode; valid until the next Set()
    const std::string* Find(unsigned long nCode) const;

    /// Enters \p reason, or replaces the one that is there. When memory is short, everything is as before.
    void Set(unsigned long nCode, std::string reason);

private:
    struct Entry {
        unsigned long m_nCode = 0;
        bool m_bUsed = false;
        std::string m_Reason;
    };

    std::size_t PlaceOf(unsigned long nCode) const;
    void Grow();

    std::vector<Entry> m_Entries;  // a power of two of them, at least half of them free
    std::size_t m_nUsed = 0;
};

}  // namespace NS_UTIL
