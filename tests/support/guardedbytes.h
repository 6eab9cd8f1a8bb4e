/// \file
/// Memory that ends where the program may not go: one byte behind it, and the program is stopped, in every
/// build and also inside of libraries that no sanitizer sees.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <string>

namespace nbitest {

class GuardedBytes {
public:
    explicit GuardedBytes(std::size_t nSize) : m_nSize(nSize)
    {
        const auto nPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        m_nMapped = (nSize + nPage - 1) / nPage * nPage + nPage;
        m_pMapped = mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m_pMapped == MAP_FAILED) throw std::bad_alloc();
        m_pBytes = static_cast<char*>(m_pMapped) + m_nMapped - nPage - nSize;
        mprotect(m_pBytes + nSize, nPage, PROT_NONE);
    }
    explicit GuardedBytes(const std::string& bytes) : GuardedBytes(bytes.size())
    {
        std::memcpy(m_pBytes, bytes.data(), bytes.size());
    }
    ~GuardedBytes() { munmap(m_pMapped, m_nMapped); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    char* Get() const { return m_pBytes; }
    std::size_t Size() const { return m_nSize; }

private:
    std::size_t m_nSize;
    std::size_t m_nMapped = 0;
    void* m_pMapped = nullptr;
    char* m_pBytes = nullptr;
};

}  // namespace nbitest
