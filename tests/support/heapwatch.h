/// \file
/// What the heap sees. A test program that links nbi_heapwatch has operators new and delete of its own, with
/// which it can look at the bytes of a block at the moment it is freed, count what is left over, and let an
/// allocation fail.
#pragma once

#include <cstddef>
#include <string>

namespace nbitest {

/// While it lives, blocks that are freed with operator delete keep their bytes and their place, so that they
/// can be searched for what should have been wiped. One at a time. Threads: any may free.
class HeapWatch {
public:
    HeapWatch();
    ~HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    /// In how many of the blocks freed so far \p bytes stand.
    int Sightings(const std::string& bytes) const;
};

/// How many objects from operator new there are now.
long LiveAllocations();

/// While it lives, an allocation of this thread of more than nMost bytes throws std::bad_alloc.
class AllocationLimit {
public:
    explicit AllocationLimit(std::size_t nMost);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;

    /// The size of the last allocation that was refused; 0 without one.
    std::size_t Refused() const;
};

/// While it lives, the allocation of this thread that comes after \p nBefore others throws std::bad_alloc.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t nBefore);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace nbitest
