/* The work semaphore of a pool, with the pushers, the workers and the end of the pool around it.
 *
 * Shown, for every order of steps: a task that was accepted runs while a worker is there for it, also when the bodies
 * before it wait for it; when nobody has anything to do any more, no token is kept from a sleeper; after the exit flag
 * every worker leaves.
 *
 * One step here is one change of the atomic word, one operation of the semaphore, or one round of the queue lock.
 *
 * -DWORKERS=n -DPUSHERS=n -DTASKS=n   how many; TASKS are each pusher's
 * -DEXIT_ANY_TIME                     the exit flag is set at any time and not when all tasks have run
 * -DVARIANT=n                         a mistake that has to be found
 *
 * mirrors src/task/worktokens.cpp WorkTokens::NeedsWakeup
 * mirrors src/task/worktokens.cpp WorkTokens::Change
 * mirrors src/task/worktokens.cpp WorkTokens::Post
 * mirrors src/task/worktokens.cpp WorkTokens::PostForAll
 * mirrors src/task/worktokens.cpp WorkTokens::TryTake
 * mirrors src/task/worktokens.cpp WorkTokens::TakeOrStay
 * mirrors src/task/worktokens.cpp WorkTokens::YieldForToken
 * mirrors src/task/worktokens.cpp WorkTokens::Take
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::svc
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::PushTask
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::Acquire
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::SetExitFlag
 *
 * variant 1: whoever takes a token wakes nobody, though there are more
 * variant 2: whoever stops yielding wakes nobody, though posts have relied on it
 * variant 3: a post looks for sleepers before it brings its token
 * variant 4: the exit flag brings one token, and whoever leaves brings none
 * variant 5: whoever has woken up stays "under way"
 */
#ifndef WORKERS
#define WORKERS 2
#endif
#ifndef PUSHERS
#define PUSHERS 2
#endif
#ifndef TASKS
#define TASKS 1
#endif
#ifndef VARIANT
#define VARIANT 0
#endif
#define ALL (PUSHERS * TASKS)

byte tokens, sleepers, wakeups;  /* with yielding: the word */
bool yielding;
byte semaphore;
byte queued, accepted, started, pushed;  /* queued and accepted change under the queue lock */
bool stopping;
byte left;

#define NEEDS_WAKEUP (tokens > 0 && sleepers > 0 && wakeups == 0 && !yielding)

inline Post(wake) {
#if VARIANT == 3
    d_step { wake = sleepers > 0 && wakeups == 0 && !yielding; if :: wake -> wakeups++ :: else fi }
    tokens++;
#else
    d_step { tokens++; wake = NEEDS_WAKEUP; if :: wake -> wakeups++ :: else fi }
#endif
    if :: wake -> semaphore++ :: else fi;
    wake = false
}

inline PostForAll(count, some) {
    d_step {
        tokens = tokens + count;
        some = (count < sleepers - wakeups -> count : sleepers - wakeups);
        wakeups = wakeups + some
    }
    semaphore = semaphore + some;
    some = 0
}

mtype = { HAS_TOKEN, YIELDS, SLEEPS, NOTHING };

/* stood: what the thread has stood for in the word so far */
inline TakeOrStay(stood, mayYield, wake) {
    d_step {
        if
        :: stood == YIELDS -> yielding = false
        :: stood == SLEEPS -> sleepers--;
#if VARIANT != 5
            wakeups--
#endif
        :: else
        fi;
        wasYielding = stood == YIELDS;
        if
        :: tokens > 0 -> tokens--; stood = HAS_TOKEN
        :: else ->
            if
            :: mayYield && !yielding -> yielding = true; stood = YIELDS
            :: else -> sleepers++; stood = SLEEPS
            fi
        fi;
#if VARIANT == 1
        wake = stood != HAS_TOKEN && NEEDS_WAKEUP;
#elif VARIANT == 2
        wake = !wasYielding && NEEDS_WAKEUP;
#else
        wake = NEEDS_WAKEUP;
#endif
        if :: wake -> wakeups++ :: else fi;
        wasYielding = false
    }
    if :: wake -> semaphore++ :: else fi;
    wake = false
}

inline Take(stood, mayYield, seen, wake) {
    if :: mayYield = true :: mayYield = false fi;  /* the gate */
    stood = NOTHING;
    TakeOrStay(stood, mayYield, wake);
    do
    :: stood == HAS_TOKEN -> break
    :: stood == YIELDS ->
        if :: tokens > 0 -> seen = true :: seen = false fi;  /* however long it has yielded */
        TakeOrStay(stood, seen, wake);
        seen = false
    :: stood == SLEEPS ->
        atomic { semaphore > 0 -> semaphore-- }
        TakeOrStay(stood, mayYield, wake)
    od;
    stood = NOTHING;
    mayYield = false
}

proctype Worker() {
    bool mayYield, seen, wake, hasToken, hasTask, wasYielding;
    mtype stood = NOTHING;
    do
    :: stopping -> break
    :: else ->
        /* A look for work: sweep and take share a round of the lock where a token is there. */
        hasToken = false;
        d_step {
            if
            :: tokens > 0 -> tokens--; hasToken = true;
                if :: queued > 0 -> queued--; hasTask = true :: else fi
            :: else
            fi
        }
        if
        :: !hasToken ->
            Take(stood, mayYield, seen, wake);
            d_step { if :: queued > 0 -> queued--; hasTask = true :: else fi }
        :: else
        fi;
        hasToken = false;
        if
        :: hasTask ->
            started++;
#ifndef EXIT_ANY_TIME
            /* The body waits for all the other tasks, as far as there are workers for them. */
            started >= (ALL < WORKERS -> ALL : WORKERS);
#endif
            hasTask = false
        :: else
        fi
    od;
#if VARIANT != 4
    Post(wake);
#endif
    left++
}

proctype Pusher() {
    bool taken, wake;
    byte i;
    for (i : 1 .. TASKS) {
        d_step { taken = !stopping; if :: taken -> queued++; accepted++ :: else fi }
        if :: taken -> Post(wake) :: else fi
    }
    pushed++
}

init {
    byte i, some;
    atomic {
        for (i : 1 .. WORKERS) { run Worker() }
        for (i : 1 .. PUSHERS) { run Pusher() }
        i = 0
    }
#ifndef EXIT_ANY_TIME
    timeout;
    assert(pushed == PUSHERS && accepted == ALL);
    assert(started == ALL && queued == 0);
    assert(tokens == 0 && semaphore == 0);
#endif
    stopping = true;
#if VARIANT == 4
    PostForAll(1, some);
#else
    PostForAll(WORKERS + 1, some);
#endif
    timeout;
    assert(pushed == PUSHERS && left == WORKERS);
    assert(started + queued == accepted)
}
