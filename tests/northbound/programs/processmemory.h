/// \file
/// What is in the memory of another process.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace northbound {

class ProcessMemory {
public:
    explicit ProcessMemory(pid_t nId) : m_Directory("/proc/" + std::to_string(nId)) {}

    /// false where the system keeps a process's memory from its parent.
    bool IsReadable() const;

    /// Shows all that the process can read and write, piece by piece. Pieces begin at multiples of 8 and
    /// overlap by \p nOverlap bytes; areas beyond a gigabyte, such as the sanitizers' own, are left out.
    void Visit(std::size_t nOverlap, const std::function<void(std::string_view)>& look) const;

    /// How often \p bytes are there.
    std::size_t Count(const std::string& bytes) const;

private:
    std::string m_Directory;
};

}  // namespace northbound
