/* A completion descriptor: who waits for it, who finishes it, and when its state goes.
 *
 * Shown, for every order of steps: whoever waits comes back when the descriptor is finished, without waiting for the end
 * of a slice; where the framework stops and nobody finishes it, at the end of a slice; nobody touches mutex or condition
 * when they have gone; the state goes once, and nobody is inside then.
 *
 * -DWAITERS=n    threads that wait, each with a handle
 * -DONE_HANDLE   the only waiter and the waker use the same handle, which the waiter destroys when it comes back
 * -DSTOP         nobody finishes the descriptor, and the framework stops
 * -DVARIANT=n    a mistake that has to be found
 *
 * mirrors src/task/ad.cpp AD::Awake
 * mirrors src/task/ad.cpp LetGo
 * mirrors src/task/ad_impl.cpp AD_Impl::ChangeWhilePending
 * mirrors src/task/ad_impl.cpp AD_Impl::Awake
 * mirrors src/task/ad_impl.cpp AD_Impl::Wait
 * mirrors src/task/ad_impl.cpp AD_Impl::WaitInSlicesLocked
 *
 * variant 1: Awake() without a reference of its own
 * variant 2: "finished" is set without the mutex
 * variant 3: the broadcast comes before "finished"
 * variant 4: one waiter is woken instead of all
 * variant 5: a waiter does not look at "finished" again once it has the mutex
 */
#ifndef WAITERS
#define WAITERS 2
#endif
#ifndef VARIANT
#define VARIANT 0
#endif

bool finished, stopping;
bool locked;
bool asleep[WAITERS];
byte references;
bool gone;
byte back;

#define TOUCH assert(!gone)

inline LockMutex() { TOUCH; atomic { !locked -> locked = true } }
inline UnlockMutex() { d_step { TOUCH; locked = false } }

inline LetGo() {
    d_step {
        references--;
        if
        :: references == 0 ->
            assert(!gone && !locked);
            for (i : 0 .. WAITERS - 1) { assert(!asleep[i]) }
            gone = true
        :: else
        fi;
        i = 0
    }
}

inline Broadcast() {
    d_step {
        TOUCH;
        for (i : 0 .. WAITERS - 1) {
#if VARIANT == 4
            if :: asleep[i] -> asleep[i] = false; break :: else fi
#else
            asleep[i] = false
#endif
        }
        i = 0
    }
}

proctype Waker() {
    byte i;
#if VARIANT != 1
    references++;
#endif
    TOUCH;
    if
    :: finished
    :: else ->
#if VARIANT == 2
        finished = true;
#elif VARIANT == 3
        Broadcast();
        LockMutex();
        finished = true;
        UnlockMutex();
#else
        LockMutex();
        finished = true;
        UnlockMutex();
#endif
#if VARIANT != 3
        Broadcast()
#endif
    fi;
#if VARIANT != 1
    LetGo();
#endif
#ifndef ONE_HANDLE
    LetGo()  /* the waker's own handle */
#endif
}

proctype Waiter(byte me) {
    byte i;
    if
    :: finished
    :: else ->
        LockMutex();
#if VARIANT != 5
        if
        :: finished
        :: else ->
#endif
            do
            :: stopping -> break
            :: else ->
                d_step { asleep[me] = true; locked = false }
                if
                :: !asleep[me]
                :: stopping -> asleep[me] = false  /* the end of a slice; before, one more would begin */
                fi;
                LockMutex();
                if :: finished -> break :: else fi
            od;
#if VARIANT != 5
        fi;
#endif
        UnlockMutex()
    fi;
    back++;
    LetGo()
}

init {
    byte i;
    atomic {
#ifdef ONE_HANDLE
        references = WAITERS;
#else
        references = WAITERS + 1;
#endif
        for (i : 0 .. WAITERS - 1) { run Waiter(i) }
        i = 0;
#ifdef STOP
        stopping = true
#else
        run Waker()
#endif
    }
    timeout;
    assert(back == WAITERS);
#ifndef STOP
    assert(finished && gone)
#endif
}
