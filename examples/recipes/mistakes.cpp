// mistakes WHICH: what the library answers when it is used wrongly.
#include <nbihost/standalone.h>
#include <nbiutil/async.h>

#include <chrono>
#include <future>
#include <iostream>
#include <string>
#include <utility>

using namespace NS_UTIL;

namespace {

DBAgent g_Agent("console", 1);

/// Workers of pool 0 that are held until somebody releases them.
class Workers {
public:
    explicit Workers(int nHeld)
    {
        for (int i = 0; i < nHeld; ++i) {
            std::promise<void> started;
            Submit(0, g_Agent, [&started, released = m_Released] {
                started.set_value();
                released.wait();
            });
            started.get_future().wait();
        }
    }
    ~Workers() { Release(); }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    void Release()
    {
        if (!std::exchange(m_bReleased, true)) m_Release.set_value();
    }

private:
    std::promise<void> m_Release;
    const std::shared_future<void> m_Released = m_Release.get_future().share();
    bool m_bReleased = false;
};

// [heap]
/// A task that cannot be made on the stack, where the pool's delete would end the process.
class Work : public NBITask {
public:
    using NBITask::NBITask;
    void Execute() override { std::cout << "done\n"; }

protected:
    ~Work() override = default;
};
// [heap]

// [log]
/// Without a started host there is no log. Everything else works, with the defaults of all items.
void WithoutHost()
{
    nbihost::Log(nbihost::LOG_LEVEL_ERROR, "server", "nobody reads this");
    std::cout << Submit(0, g_Agent, [] { return 42; }).Get() << '\n';
    std::cout << NBITaskMgr::GetTaskMgr(0)->thr_count() << " workers\n";
}
// [log]

// [late]
/// A push after the stop is dropped in silence. A future tells; a descriptor tells what was set before.
void AfterTheStop(nbihost::Host& host)
{
    Submit(0, g_Agent, [] {}).Get();
    host.Stop();
    try {
        Submit(0, g_Agent, [] {}).Get();
    } catch (const ProcessException& failure) {
        std::cout << (failure.GetErrorCode() == ErrCode::POOL_DESTROYED ? "the pool has gone\n" : "?\n");
    }
}
// [late]

// [twice]
/// The second push of a task that still waits raises, and the task runs once.
void PushedTwice()
{
    Workers busy(2);
    AD done;
    auto* const pTask = new Work(g_Agent, false, done);
    TaskPoolMgr::PushTask(g_Agent, pTask, 0);
    try {
        TaskPoolMgr::PushTask(g_Agent, pTask, 0);
    } catch (const ProcessException& failure) {
        std::cout << (failure.GetErrorCode() == ErrCode::TASK_NOT_IDLE ? "it is queued already\n" : "?\n");
    }
    busy.Release();
    done.Wait();
}
// [twice]

// [own]
/// A body that waits for its own pool: nobody may be left to run what it waits for. A deadline ends that.
void WaitForOwnPool()
{
    Workers busy(1);  // of two; the other one is the body's
    auto answer = Submit(0, g_Agent, [] {
        const Deadline limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
        Submit(
            0, g_Agent, [] {}, limit)
            .Get();
    });
    try {
        answer.Get();
    } catch (const ProcessException& failure) {
        std::cout << (failure.GetErrorCode() == ErrCode::TASK_CANCELLED ? "nobody was free\n" : "?\n");
    }
}
// [own]

}  // namespace

int main(int nArguments, char** pArguments)
{
    const std::string which = nArguments > 1 ? pArguments[1] : "";
    if (which == "nohost") {
        WithoutHost();
        return 0;
    }
    nbihost::Host host("host.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();
    if (which == "late") AfterTheStop(host);
    if (which == "twice") PushedTwice();
    if (which == "own") WaitForOwnPool();
}
