#include "server/serving/recurring.h"

#include <utility>

namespace northbound {

Recurring::Recurring(Work work) : m_Work(std::move(work)), m_Thread([this] { Run(); })
{
}

Recurring::~Recurring()
{
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_bEnds = true;
    }
    m_Changed.notify_all();
    m_Thread.join();
}

void Recurring::Wake()
{
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_bWoken = true;
    }
    m_Changed.notify_all();
}

void Recurring::Run()
{
    while (Pause(m_Work())) {
    }
}

/// \return false at the end
bool Recurring::Pause(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Changed.wait_for(lock, limit, [this] { return m_bWoken || m_bEnds; });
    m_bWoken = false;
    return !m_bEnds;
}

}  // namespace northbound
