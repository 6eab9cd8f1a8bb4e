/// \file
/// Threads whose interleavings can be tried, all of them or by a seed. They are fibers of one thread, and a test program that
/// links schedule.cpp has its own semaphore calls, mutexes, conditions and sched_yield in front of the system's: in a fiber,
/// these give control back to the test, which says who goes on. What happens between two such points happens at once, so
/// state that is shared without a lock has to be changed by single atomic steps. A body does not throw out of the code under
/// test: no exception crosses a fiber.
#pragma once

#include <semaphore.h>
#include <ucontext.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace nbitest {

/// False where fibers would confuse the sanitizer that the program runs under. A test then skips itself:
/// if (!CanSchedule()) GTEST_SKIP() << NO_SCHEDULES;
bool CanSchedule();
constexpr const char* NO_SCHEDULES = "the thread sanitizer does not follow fibers";

/// One run of some fibers. One at a time in a process; all fibers share one semaphore, whatever object they
/// pass.
class Schedule {
public:
    /// Where a fiber stands: it goes on from there when Step() says so.
    enum class Point { START, PAUSES, POSTS, WAITS, YIELDS, DONE, LOCKS, SLEEPS };

    /// What runs a body: a fiber of the test's thread, which is quick, or a thread of its own, of which one at a time goes on,
    /// for code that keeps things by thread.
    enum class Backing { FIBERS, THREADS };

    /// \param tokenThere what a yielding fiber looks for. A fiber that is resumed while there is nothing
    ///                   yields no more until it has come to another point: its time is up.
    explicit Schedule(std::function<bool()> tokenThere, Backing backing = Backing::FIBERS);
    /// On threads.
    Schedule();
    ~Schedule();
    Schedule(const Schedule&) = delete;
    Schedule& operator=(const Schedule&) = delete;

    void Add(std::function<void()> body);
    std::size_t Fibers() const { return m_Fibers.size(); }

    /// A fiber that waits for a semaphore of count 0 cannot go on, nor one that wants a mutex of another, one that sleeps on a
    /// condition and was not woken (no time runs out here), or one that is done.
    bool CanStep(std::size_t nFiber) const;
    /// Lets that fiber go on to its next point.
    void Step(std::size_t nFiber);

    Point At(std::size_t nFiber) const { return m_Fibers[nFiber]->m_At; }
    int CountAt(Point point) const;
    int Semaphore() const { return m_nSemaphore; }
    /// Where everything stands, but for what the bodies themselves know.
    std::string Fingerprint() const;

    /// For the bodies: a point where others may come between.
    static void Pause();

    /// Goes on in an order that \p nSeed makes until all are done.
    /// \return what went wrong: nobody can go on, or it does not end
    std::string RunInOrderOf(unsigned int nSeed);

    // What the system's functions do in a fiber.
    static Schedule* Current();
    void Post();
    void Wait();
    void Yield();
    void Lock(const void* pMutex);
    bool TryLock(const void* pMutex);
    void Unlock(const void* pMutex);
    void Sleep(const void* pCondition, const void* pMutex);
    void Wake(const void* pCondition, bool bAll);

private:
    struct Fiber {
        std::function<void()> m_Body;
        std::unique_ptr<char[]> m_pStack;
        std::thread m_Thread;
        sem_t m_Go{};
        ucontext_t m_Context{};
        Point m_At = Point::START;
        const void* m_pObject = nullptr;  // the mutex that it wants, the condition that it sleeps on
        bool m_bWoken = false;
        bool m_bTimeIsUp = false;
    };
    struct Mutex {
        const Fiber* m_pOwner = nullptr;
        int m_nDepth = 0;  // recursive for everybody: one that is not would not come here twice
    };
    static void Enter();
    void RunOnThread(Fiber& fiber);
    bool IsFree(const Fiber& fiber, const void* pMutex) const;
    void Take(const void* pMutex, int nDepth);
    void GiveUp(Point point);

    std::function<bool()> m_TokenThere;
    const Backing m_Backing;
    sem_t m_Back{};  // on threads: the test goes on
    std::map<const void*, Mutex> m_Mutexes;
    std::vector<std::unique_ptr<Fiber>> m_Fibers;
    Fiber* m_pRunning = nullptr;
    ucontext_t m_Test{};
    int m_nSemaphore = 0;
};

/// The seeds that a test tries: \p nCount of them, or as many as NBI_SCHEDULES says, or NBI_SCHEDULE_SEED alone, which is how
/// a failure is looked at again.
std::vector<unsigned int> SeedsToTry(unsigned int nCount);

}  // namespace nbitest
