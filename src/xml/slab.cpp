#include "xml/slab.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace NS_UTIL {
namespace {

// A power of two, since a slab starts at a multiple of it. A quarter of it was measurably slower: each slab
// that is freed makes the C library tidy up its small blocks.
constexpr std::size_t SLAB_SIZE = 131072;

/// What stands at the start of a slab; the objects follow it.
struct Slab {
    /// More objects than a slab can hold: while its thread takes from it, the count stays far from 0.
    static constexpr std::size_t IN_USE = SLAB_SIZE;

    std::atomic<std::size_t> m_nObjects{IN_USE};  // not given back yet
    std::size_t m_nTaken = 0;                     // only the slab's thread writes it

    void Drop(std::size_t nObjects) noexcept
    {
        if (m_nObjects.fetch_sub(nObjects, std::memory_order_acq_rel) != nObjects) return;
        this->~Slab();
        ::operator delete(this, std::align_val_t(SLAB_SIZE));
    }
};

/// The slab from which a thread takes.
class CurrentSlab {
public:
    CurrentSlab() = default;
    ~CurrentSlab() { Retire(); }
    CurrentSlab(const CurrentSlab&) = delete;
    CurrentSlab& operator=(const CurrentSlab&) = delete;

    void* Take(std::size_t nSize)
    {
        if (m_pSlab == nullptr || nSize > SLAB_SIZE - m_nUsed) Renew();
        void* const pObject = reinterpret_cast<char*>(m_pSlab) + m_nUsed;
        m_nUsed += nSize;
        ++m_pSlab->m_nTaken;
        return pObject;
    }

private:
    void Renew()
    {
        void* const pMemory = ::operator new(SLAB_SIZE, std::align_val_t(SLAB_SIZE));
        Retire();
        m_pSlab = new (pMemory) Slab;
        m_nUsed = sizeof(Slab);
    }

    /// From here on the objects alone keep the slab.
    void Retire() noexcept
    {
        if (m_pSlab != nullptr) m_pSlab->Drop(Slab::IN_USE - m_pSlab->m_nTaken);
        m_pSlab = nullptr;
    }

    Slab* m_pSlab = nullptr;
    std::size_t m_nUsed = 0;
};

thread_local CurrentSlab t_Current;

}  // namespace

void* TakeFromSlab(std::size_t nSize)
{
    constexpr std::size_t ALIGNMENT = alignof(void*);
    return t_Current.Take((nSize + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT);
}

void GiveToSlab(void* pObject) noexcept
{
    if (pObject == nullptr) return;
    const std::uintptr_t nAddress = reinterpret_cast<std::uintptr_t>(pObject);
    reinterpret_cast<Slab*>(nAddress - nAddress % SLAB_SIZE)->Drop(1);
}

}  // namespace NS_UTIL
