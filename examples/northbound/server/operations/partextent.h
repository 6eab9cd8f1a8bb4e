/// \file
/// How much of a file is a part of a collection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace northbound {

/// The line of names and as many lines of samples as count. A file may go on behind them: a server that was killed has
/// written more than it could tell.
struct PartExtent {
    std::uint64_t m_nBytes = 0;
    std::string m_Digest;  // SHA-256, lower-case hexadecimal
};

/// Reads a file once for many pieces of it. Threads: any; each reading goes on beside the others.
class PartExtents {
public:
    static constexpr std::size_t MOST_KEPT = 64;

    /// \param nDescriptor of the file, which the caller keeps
    /// \param nLines lines that count; one without an end does not
    /// \throws ProcessException PART_ELSEWHERE when the file cannot be read
    PartExtent Of(int nDescriptor, std::uint64_t nLines);

private:
    /// What a file is, and when it was changed: the same of both, and what was found holds.
    struct Key {
        std::uint64_t m_nDevice;
        std::uint64_t m_nNode;
        std::uint64_t m_nLines;
        std::int64_t m_nSize;
        std::int64_t m_nChanged;  // nanoseconds
        bool operator<(const Key& other) const;
    };

    std::mutex m_Mutex;
    std::map<Key, PartExtent> m_Kept;  // guarded by m_Mutex
};

}  // namespace northbound
