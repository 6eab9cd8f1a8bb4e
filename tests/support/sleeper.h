/// \file
/// A thread that a test knows to be asleep.
#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace nbitest {

/// A thread that calls \p use. The constructor returns when it sleeps in the kernel or is done: when it waits
/// for a lock that the caller holds, say.
class Sleeper {
public:
    explicit Sleeper(std::function<void()> use)
        : m_Thread([this, action = std::move(use)] {
              m_nThread = syscall(SYS_gettid);
              action();
              m_bDone = true;
          })
    {
        while (m_nThread == 0 || !(m_bDone || IsAsleep(m_nThread))) std::this_thread::yield();
    }
    ~Sleeper()
    {
        if (m_Thread.joinable()) m_Thread.join();
    }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    bool IsDone() const { return m_bDone; }
    void Join() { m_Thread.join(); }

private:
    static bool IsAsleep(long nThread)
    {
        std::ifstream stat("/proc/self/task/" + std::to_string(nThread) + "/stat");
        std::string text;
        std::getline(stat, text);
        const std::size_t nEndOfName = text.rfind(')');
        return nEndOfName != std::string::npos && text.substr(nEndOfName + 1, 2) == " S";
    }

    std::atomic<long> m_nThread{0};
    std::atomic<bool> m_bDone{false};
    std::thread m_Thread;
};

}  // namespace nbitest
