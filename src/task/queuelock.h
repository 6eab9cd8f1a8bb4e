/// \file
/// The lock of a pool's tasks.
#pragma once

#include <ace/Thread_Mutex.h>
#include <pthread.h>

namespace NS_UTIL {

/// A mutex whose waiters look again some hundred times before they sleep, on machines of more than one core. The pools hold
/// theirs for some ten nanoseconds at a time: to sleep and to be woken costs a hundred times what is waited for, and makes
/// an empty task of a requester and a worker on two cores cost half as much again (bench/pool/parts_bench.cpp).
class QueueLock : public ACE_Thread_Mutex {
public:
    QueueLock() : ACE_Thread_Mutex(nullptr, Attributes()) {}

private:
    /// Null where the system has no such mutex: an ordinary one, then.
    static ACE_mutexattr_t* Attributes()
    {
#ifdef __GLIBC__
        static ACE_mutexattr_t attributes;
        static const bool bMade = pthread_mutexattr_init(&attributes) == 0 &&
                                  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ADAPTIVE_NP) == 0;
        return bMade ? &attributes : nullptr;
#else
        return nullptr;
#endif
    }
};

}  // namespace NS_UTIL
