/* Pool 2: tasks that wait while the book is full, and who looks for them again.
 *
 * Shown, for every order of steps: a task that was deferred runs when there is room for it, though the token of the look
 * that deferred it has gone; the tasks run in the order of pushing; the book is empty at the end.
 *
 * The work semaphore is a plain count here: worktokens.pml shows that it is one.
 *
 * -DWORKERS=n -DTASKS=n   how many; every second task asks the limit when it is taken, the others asked at the push
 * -DLIMIT=n               so many stand in the book when a task that asks is deferred
 * -DVARIANT=n             a mistake that has to be found
 *
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::svc
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::TakeBackAndSweep
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::Acquire
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::TakeIdleLocked
 * mirrors src/task/nbitaskmgr.cpp NBITaskMgr::MayStartLocked
 * mirrors src/task/taskqueue.cpp TaskQueue::SweepFinishedLocked
 *
 * variant 1: the extra token comes before the place in the book is free
 * variant 2: there is no extra token
 * variant 3: a deferred task is passed over for the next one
 * variant 4: the place in the book is freed at the next look for work, as in the other pools
 */
#ifndef WORKERS
#define WORKERS 2
#endif
#ifndef TASKS
#define TASKS 4
#endif
#ifndef LIMIT
#define LIMIT 1
#endif
#ifndef VARIANT
#define VARIANT 0
#endif

byte tokens;
byte pushed;  /* tasks 1 to this are in the queue or were */
byte first;   /* tasks below this were taken */
byte book;
byte taken;   /* the last task that was */
byte ran;

#define ASKS(task) ((task) % 2 == 0)

/* Under the queue lock. task: what was taken, or 0. */
inline TakeIdle() {
    task = 0;
    if
    :: first > pushed
    :: first <= pushed && ASKS(first) && book >= LIMIT ->
#if VARIANT == 3
        if :: first < pushed -> task = first + 1 :: else fi
#else
        skip
#endif
    :: else -> task = first
    fi;
    if
    :: task > 0 -> assert(task == taken + 1); taken = task; first = task + 1; book++
    :: else
    fi
}

proctype Worker() {
    byte task, unswept;
    do
    ::
        /* The sweep; here it finds what variant 4 has left. */
        d_step { book = book - unswept; unswept = 0 }
end:    atomic { tokens > 0 -> tokens-- }
        d_step { TakeIdle() }
        if
        :: task > 0 ->
            ran++;
#if VARIANT == 1
            tokens++;
            book--
#elif VARIANT == 2
            book--
#elif VARIANT == 4
            tokens++;
            unswept++
#else
            book--;
            tokens++
#endif
        :: else
        fi;
        task = 0
    od
}

proctype Pusher() {
    do
    :: pushed < TASKS -> pushed++; tokens++
    :: else -> break
    od
}

init {
    byte i;
    first = 1;
    atomic {
        for (i : 1 .. WORKERS) { run Worker() }
        run Pusher();
        i = 0
    }
    timeout;
    assert(pushed == TASKS);
    assert(ran == TASKS && first == TASKS + 1);
    assert(book == 0)
}
