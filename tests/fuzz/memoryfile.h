/// \file
/// A fuzzer's input as a file.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/demand.h"

namespace nbitest {

/// In memory, under a name of its own.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* pData, std::size_t nSize) : m_nFile(memfd_create("fuzz", MFD_CLOEXEC))
    {
        Demand(m_nFile >= 0, "a file in memory");
        Demand(write(m_nFile, pData, nSize) == static_cast<ssize_t>(nSize), "its bytes");
    }
    ~MemoryFile() { close(m_nFile); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Name() const { return std::to_string(m_nFile); }
    std::string Path() const { return "/proc/self/fd/" + Name(); }

private:
    const int m_nFile;
};

}  // namespace nbitest
