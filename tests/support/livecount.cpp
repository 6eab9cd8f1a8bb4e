#include "support/livecount.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> g_nLive{0};

}  // namespace

namespace nbitest {

long LiveAllocations()
{
    return g_nLive.load();
}

}  // namespace nbitest

void* operator new(std::size_t nSize)
{
    void* const pMemory = std::malloc(nSize > 0 ? nSize : 1);
    if (pMemory == nullptr) throw std::bad_alloc();
    g_nLive.fetch_add(1, std::memory_order_relaxed);
    return pMemory;
}

void operator delete(void* pMemory) noexcept
{
    if (pMemory == nullptr) return;
    g_nLive.fetch_sub(1, std::memory_order_relaxed);
    std::free(pMemory);
}

// The other forms end in these two, so that every library's pairs of calls meet here.
void* operator new[](std::size_t nSize)
{
    return operator new(nSize);
}

void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept
{
    try {
        return operator new(nSize);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t nSize, const std::nothrow_t&) noexcept
{
    return operator new(nSize, std::nothrow);
}

void operator delete[](void* pMemory) noexcept
{
    operator delete(pMemory);
}

void operator delete(void* pMemory, std::size_t) noexcept
{
    operator delete(pMemory);
}

void operator delete[](void* pMemory, std::size_t) noexcept
{
    operator delete(pMemory);
}

void operator delete(void* pMemory, const std::nothrow_t&) noexcept
{
    operator delete(pMemory);
}

void operator delete[](void* pMemory, const std::nothrow_t&) noexcept
{
    operator delete(pMemory);
}
