/// \file
/// What the heap sees. A test program that links nbi_heapwatch has operators new and delete of its own, with
/// which it can look at the bytes of a block at the moment it is freed, count what is left over, and let an
/// allocation fail.
#pragma once

#include <cstddef>
#include <new>
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

    /// Blocks that are freed from now on are not looked at.
    void Stop();

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

/// While it lives, one allocation of this thread throws std::bad_alloc: the one behind the first nWork. One at
/// a time per thread.
class FailingAllocation {
public:
    explicit FailingAllocation(long nWork);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// False when there were too few allocations.
    bool HasFailed() const;
};

/// While it lives, no allocation of this thread fails, and none counts; nor does any other fault of singlefaults.h.
class WorkingAllocations {
public:
    WorkingAllocations();
    ~WorkingAllocations();
    WorkingAllocations(const WorkingAllocations&) = delete;
    WorkingAllocations& operator=(const WorkingAllocations&) = delete;

private:
    long m_nUntilFailure;
    bool m_bAllWorks;
};

/// Calls \p work again and again, with one more allocation that works each time, until none fails. What the
/// failure throws ends here; \p check is called after each.
template <class Work, class Check>
void FailEachAllocation(Work work, Check check)
{
    bool bFailed = true;
    for (long nWork = 0; bFailed; ++nWork) {
        {
            const FailingAllocation failing(nWork);
            try {
                work();
            } catch (const std::bad_alloc&) {
            }
            bFailed = failing.HasFailed();
        }
        check();
    }
}

}  // namespace nbitest
