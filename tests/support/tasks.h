/// \file
/// Tasks for tests, and what tests wait on.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "nbiutil/ad.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/threadcontextmgr.h"
#include "support/eventually.h"

namespace nbitest {

using Action = std::function<void()>;

/// Something that happens once. Threads: any.
class Signal {
public:
    void Set()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_bSet = true;
        m_Changed.notify_all();
    }
    void Wait()
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Changed.wait(lock, [this] { return m_bSet; });
    }
    bool IsSet()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_bSet;
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_bSet = false;  // guarded by m_Mutex
};

/// A place that nobody leaves before \p nWanted threads are there.
class Meeting {
public:
    explicit Meeting(int nWanted) : m_nMissing(nWanted) {}
    void Join()
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        --m_nMissing;
        m_Changed.notify_all();
        m_Changed.wait(lock, [this] { return m_nMissing <= 0; });
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    int m_nMissing;  // guarded by m_Mutex
};

/// The agent of every test task. Its maximum of huge tasks is 4.
inline NS_UTIL::DBAgent& TestAgent()
{
    static NS_UTIL::DBAgent agent("agent", 4);
    return agent;
}

/// A task made of two actions: its body, and what its destructor does.
class TestTask : public NS_UTIL::NBITask {
public:
    explicit TestTask(NS_UTIL::AD& ad, Action body = {}, Action gone = {})
        : NBITask(TestAgent(), false, ad), m_Body(std::move(body)), m_Gone(std::move(gone))
    {
        ++m_nAlive;
    }
    ~TestTask() override
    {
        --m_nAlive;
        if (m_Gone) m_Gone();
    }
    void Execute() override
    {
        if (m_Body) m_Body();
    }

    /// How many of these tasks there are now.
    static int Alive() { return m_nAlive; }

private:
    inline static std::atomic<int> m_nAlive{0};
    Action m_Body;
    Action m_Gone;
};

/// The huge-task figures of a request, named so that nobody has to remember their order.
struct HugeFigures {
    int m_nNumber = 0;  // limit of its kind; below 1: none
    int m_nMode = 0;    // not 0: huge
    int m_nType = 0;
    const char* m_pManager = "";
};

/// Makes the calling thread serve a new request, with an operation UUID of its own; tasks made from now on
/// carry it.
/// \return the operation UUID
inline std::string ServeRequest(const std::string& interfaceName, const HugeFigures& figures = {})
{
    NS_UTIL::ThreadContextInfo info;
    info.SetInterfaceName(interfaceName);
    info.SetHugeTskInfo(figures.m_nNumber, figures.m_nType, figures.m_nMode, figures.m_pManager);
    info.SetOperUUID("");
    NS_UTIL::ThreadContextMgr::Instance()->SetThreadContext(info);
    return info.GetOperUUID();
}

}  // namespace nbitest
