/// \file
/// What a pool keeps in each of its tasks. Not for callers: it stands here since every task carries one.
#pragma once

#include <atomic>
#include <cstdint>

namespace NS_UTIL {

class TaskQueue;

/// A task's place in the lists of its pool, and the word that holds its state. Only the pools touch it. Without
/// virtual functions, so that the slots of NBITask are those that it declares.
class NBITaskPlace {
    friend class TaskList;
    friend class TaskQueue;

    // neighbours in a list, and the place in the order of pushing: guarded by the queue's lock
    NBITaskPlace* m_pPrev = nullptr;
    NBITaskPlace* m_pNext = nullptr;
    std::uint64_t m_nOrder = 0;

    std::atomic<TaskQueue*> m_pOwner{nullptr};  // from the push on

    // State in the low bits (idle at first), and the marks of the queue above it. Atomic instead of behind a lock, so
    // that a queued task carries none; whoever changes the state of a task that waits in a queue holds the queue's lock.
    std::atomic<unsigned int> m_nState{0};
};

}  // namespace NS_UTIL
