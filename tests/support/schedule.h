/// \file
/// Threads whose every interleaving can be tried. They are fibers of one thread, and a test program that
/// links schedule.cpp has its own sem_wait, sem_post and sched_yield in front of the system's: in a fiber,
/// these give control back to the test, which says who goes on. What happens between two such points happens
/// at once, so the code under test has to change shared state by single atomic steps.
#pragma once

#include <ucontext.h>

#include <functional>
#include <memory>
#include <string>
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
    enum class Point { START, PAUSES, POSTS, WAITS, YIELDS, DONE };

    /// \param tokenThere what a yielding fiber looks for. A fiber that is resumed while there is nothing
    ///                   yields no more until it has come to another point: its time is up.
    explicit Schedule(std::function<bool()> tokenThere);
    ~Schedule();
    Schedule(const Schedule&) = delete;
    Schedule& operator=(const Schedule&) = delete;

    void Add(std::function<void()> body);
    std::size_t Fibers() const { return m_Fibers.size(); }

    /// A fiber that waits for a semaphore of count 0 cannot go on, nor can one that is done.
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

    // What the system's functions do in a fiber.
    static Schedule* Current();
    void Post();
    void Wait();
    void Yield();

private:
    struct Fiber {
        std::function<void()> m_Body;
        std::unique_ptr<char[]> m_pStack;
        ucontext_t m_Context{};
        Point m_At = Point::START;
        bool m_bTimeIsUp = false;
    };
    static void Enter();
    void GiveUp(Point point);

    std::function<bool()> m_TokenThere;
    std::vector<std::unique_ptr<Fiber>> m_Fibers;
    Fiber* m_pRunning = nullptr;
    ucontext_t m_Test{};
    int m_nSemaphore = 0;
};

}  // namespace nbitest
