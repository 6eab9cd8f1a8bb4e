/// \file
/// Making and deleting a singleton, written once. A class keeps its own static pointer and hands it in.
#pragma once

#include <ace/Static_Object_Lock.h>

#include <atomic>

#include "base/lockguard.h"

namespace NS_UTIL {

/// The object in \p slot, made on first use; null if there is none and the process-wide lock fails.
/// The lock is recursive: a constructor may use other singletons, though not its own.
template <class T, class Make>
T* InstanceIn(std::atomic<T*>& slot, Make make)
{
    if (T* pFound = slot.load(std::memory_order_acquire)) return pFound;
    RecursiveGuard guard(*ACE_Static_Object_Lock::instance());
    if (guard.locked() && slot.load(std::memory_order_relaxed) == nullptr) {
        slot.store(make(), std::memory_order_release);
    }
    return slot.load(std::memory_order_acquire);
}

/// Deletes the object in \p slot, if there is one, and empties the slot; does nothing if the lock fails.
template <class T, class Delete>
void DestroyIn(std::atomic<T*>& slot, Delete destroy)
{
    if (slot.load(std::memory_order_acquire) == nullptr) return;
    RecursiveGuard guard(*ACE_Static_Object_Lock::instance());
    if (!guard.locked()) return;
    if (T* pFound = slot.load(std::memory_order_relaxed)) {
        destroy(pFound);
        slot.store(nullptr, std::memory_order_release);
    }
}

}  // namespace NS_UTIL
