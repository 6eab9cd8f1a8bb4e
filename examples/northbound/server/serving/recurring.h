/// \file
/// Work that a thread of its own does again and again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace northbound {

/// Does its work at once, again when the work said that it is due, and whenever it is woken.
/// Threads: any.
class Recurring {
public:
    using Work = std::function<std::chrono::milliseconds()>;

    /// \param work throws nothing, and takes no longer than the end of this may; tells how long to pause then
    explicit Recurring(Work work);
    /// Waits for the end of the work that is under way.
    ~Recurring();
    Recurring(const Recurring&) = delete;
    Recurring& operator=(const Recurring&) = delete;

    /// Has the work done now, or once more where it is under way. Does not wait.
    void Wake();

private:
    void Run();
    bool Pause(std::chrono::milliseconds limit);

    const Work m_Work;
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_bWoken = false;  // guarded by m_Mutex
    bool m_bEnds = false;   // guarded by m_Mutex
    std::thread m_Thread;   // the last member: it uses the others
};

}  // namespace northbound
