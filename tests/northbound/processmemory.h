/// \file
/// What is in the memory of another process.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace northbound {

class ProcessMemory {
public:
    explicit ProcessMemory(pid_t nId) : m_Directory("/proc/" + std::to_string(nId)) {}

    /// false where the system keeps a process's memory from its parent.
    bool IsReadable() const;

    /// How often \p bytes are in all that the process can read and write. Areas beyond a gigabyte, such as
    /// the sanitizers' own, are left out.
    std::size_t Count(const std::string& bytes) const;

private:
    std::string m_Directory;
};

}  // namespace northbound
