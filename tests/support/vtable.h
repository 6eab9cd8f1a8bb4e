/// \file
/// Reading the slot order of virtual operations, as the Itanium C++ ABI lays them out: it is part of the
/// binary interface of the exported classes.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace nbitest {

/// The slot of a virtual operation. The first word of a pointer to one holds the slot's offset in the table
/// (on some processors plus 1). A pointer to any other member function gives a number beyond every table.
template <class Operation>
std::size_t SlotOf(Operation operation)
{
    std::size_t nWord = 0;
    static_assert(sizeof operation >= sizeof nWord, "a pointer to a member function");
    std::memcpy(&nWord, &operation, sizeof nWord);
    return nWord / sizeof(void*);
}

/// Calls the operation in slot \p nSlot of \p pObject, which takes no arguments. This is how a destructor's
/// slots are told apart, since nobody can take a destructor's address.
inline void CallSlot(void* pObject, std::size_t nSlot)
{
    using Operation = void (*)(void*);
    Operation* pTable = nullptr;
    std::memcpy(&pTable, pObject, sizeof pTable);
    pTable[nSlot](pObject);
}

/// Storage for one probe, which counts what happens to it: class Probe : public AD, public DeleteCounter.
struct DeleteCounter {
    static inline int m_nDestroyed = 0;
    static inline int m_nDeleted = 0;
    alignas(std::max_align_t) static inline unsigned char m_Storage[1024] = {};

    static void* operator new(std::size_t nSize)
    {
        EXPECT_LE(nSize, sizeof m_Storage);
        return m_Storage;
    }
    static void operator delete(void*) { ++m_nDeleted; }

protected:
    ~DeleteCounter() { ++m_nDestroyed; }
};

/// Expects the destructor in \p nSlot (destroys) and in the next one (destroys and deletes).
template <class Probe>
void ExpectDestructorAt(std::size_t nSlot)
{
    DeleteCounter::m_nDestroyed = DeleteCounter::m_nDeleted = 0;
    CallSlot(new Probe, nSlot);
    EXPECT_EQ(DeleteCounter::m_nDestroyed, 1);
    EXPECT_EQ(DeleteCounter::m_nDeleted, 0);
    CallSlot(new Probe, nSlot + 1);
    EXPECT_EQ(DeleteCounter::m_nDestroyed, 2);
    EXPECT_EQ(DeleteCounter::m_nDeleted, 1);
}

}  // namespace nbitest
