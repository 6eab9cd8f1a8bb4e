#include "support/heapwatch.h"

#include <malloc.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "support/faultpoint.h"

namespace nbitest {
namespace {

std::array<void*, 1 << 16> g_Freed;
std::atomic<std::size_t> g_nFreed{0};
std::atomic<bool> g_bWatching{false};
std::atomic<long> g_nLive{0};

thread_local std::size_t t_nMost = SIZE_MAX;
thread_local std::size_t t_nRefused = 0;

constexpr unsigned char LEFTOVER = 0xA5;
constexpr long NO_FAILURE = -1;
thread_local long t_nUntilFailure = NO_FAILURE;

void* Allocate(std::size_t nSize, FaultKind kind) noexcept
{
    if (nSize > t_nMost) {
        t_nRefused = nSize;
        return nullptr;
    }
    if (t_nUntilFailure != NO_FAILURE && t_nUntilFailure-- == 0) return nullptr;
    if (FailsHere(kind)) return nullptr;
    void* const pBlock = std::malloc(nSize == 0 ? 1 : nSize);
    if (pBlock == nullptr) return nullptr;
    // What was in a block before it came here is not what its user leaves in it.
    // Not by memset(): a hardened build takes what was asked for as the block's end.
    std::fill_n(static_cast<unsigned char*>(pBlock), malloc_usable_size(pBlock), LEFTOVER);
    g_nLive.fetch_add(1, std::memory_order_relaxed);
    return pBlock;
}

void* AllocateOrThrow(std::size_t nSize)
{
    void* const pBlock = Allocate(nSize, FaultKind::ALLOCATION);
    if (pBlock == nullptr) throw std::bad_alloc();
    return pBlock;
}

void Release(void* pBlock) noexcept
{
    if (pBlock == nullptr) return;
    g_nLive.fetch_sub(1, std::memory_order_relaxed);
    if (g_bWatching) {
        const std::size_t nPlace = g_nFreed.fetch_add(1);
        if (nPlace < g_Freed.size()) {
            g_Freed[nPlace] = pBlock;
            return;
        }
    }
    std::free(pBlock);
}

std::size_t KeptBlocks()
{
    const std::size_t nFreed = g_nFreed;
    return nFreed < g_Freed.size() ? nFreed : g_Freed.size();
}

}  // namespace

long LiveAllocations()
{
    return g_nLive;
}

HeapWatch::HeapWatch()
{
    g_nFreed = 0;
    g_bWatching = true;
}

void HeapWatch::Stop()
{
    g_bWatching = false;
}

HeapWatch::~HeapWatch()
{
    Stop();
    for (std::size_t i = 0; i < KeptBlocks(); ++i) std::free(g_Freed[i]);
    g_nFreed = 0;
}

int HeapWatch::Sightings(const std::string& bytes) const
{
    if (g_nFreed > g_Freed.size()) throw std::length_error("more blocks were freed than HeapWatch keeps");
    int nFound = 0;
    for (std::size_t i = 0; i < KeptBlocks(); ++i) {
        void* const pBlock = g_Freed[i];
        if (memmem(pBlock, malloc_usable_size(pBlock), bytes.data(), bytes.size()) != nullptr) ++nFound;
    }
    return nFound;
}

AllocationLimit::AllocationLimit(std::size_t nMost)
{
    t_nRefused = 0;
    t_nMost = nMost;
}

AllocationLimit::~AllocationLimit()
{
    t_nMost = SIZE_MAX;
}

std::size_t AllocationLimit::Refused() const
{
    return t_nRefused;
}

FailingAllocation::FailingAllocation(long nWork)
{
    t_nUntilFailure = nWork;
}

FailingAllocation::~FailingAllocation()
{
    t_nUntilFailure = NO_FAILURE;
}

bool FailingAllocation::HasFailed() const
{
    return t_nUntilFailure == NO_FAILURE;
}

WorkingAllocations::WorkingAllocations() : m_nUntilFailure(t_nUntilFailure), m_bAllWorks(t_bAllWorks)
{
    t_nUntilFailure = NO_FAILURE;
    t_bAllWorks = true;
}

WorkingAllocations::~WorkingAllocations()
{
    t_nUntilFailure = m_nUntilFailure;
    t_bAllWorks = m_bAllWorks;
}

}  // namespace nbitest

using nbitest::Allocate;
using nbitest::AllocateOrThrow;
using nbitest::Release;

void* operator new(std::size_t nSize)
{
    return AllocateOrThrow(nSize);
}
void* operator new[](std::size_t nSize)
{
    return AllocateOrThrow(nSize);
}
void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept
{
    return Allocate(nSize, nbitest::FaultKind::ACE_MEMORY);
}
void* operator new[](std::size_t nSize, const std::nothrow_t&) noexcept
{
    return Allocate(nSize, nbitest::FaultKind::ACE_MEMORY);
}
void operator delete(void* pBlock) noexcept
{
    Release(pBlock);
}
void operator delete[](void* pBlock) noexcept
{
    Release(pBlock);
}
void operator delete(void* pBlock, std::size_t) noexcept
{
    Release(pBlock);
}
void operator delete[](void* pBlock, std::size_t) noexcept
{
    Release(pBlock);
}
void operator delete(void* pBlock, const std::nothrow_t&) noexcept
{
    Release(pBlock);
}
void operator delete[](void* pBlock, const std::nothrow_t&) noexcept
{
    Release(pBlock);
}
