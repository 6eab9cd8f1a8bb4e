#include "server/cluster/enginepool.h"

#include <utility>

namespace northbound {

EnginePool::EnginePool(const std::string& text, const EngineLimits& limits, std::size_t nConnections)
    : m_Call(limits.m_Call)
{
    m_Free.reserve(nConnections);
    while (m_Free.size() < nConnections) m_Free.emplace_back(text, limits);
}

EngineConnection EnginePool::Take(std::chrono::steady_clock::time_point end)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    if (!m_Given.wait_until(lock, end, [this] { return !m_Free.empty(); })) {
        throw EngineAway("all connections to the engine were busy");
    }
    EngineConnection connection = std::move(m_Free.back());
    m_Free.pop_back();
    return connection;
}

void EnginePool::GiveBack(EngineConnection&& connection)
{
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_Free.push_back(std::move(connection));
    }
    m_Given.notify_one();
}

Rows EnginePool::Execute(const std::string& statement, const Cells& parameters)
{
    const auto end = std::chrono::steady_clock::now() + m_Call;
    EngineConnection connection = Take(end);
    try {
        Rows rows = connection.ExecuteUntil(end, statement, parameters);
        GiveBack(std::move(connection));
        return rows;
    } catch (...) {
        GiveBack(std::move(connection));
        throw;
    }
}

}  // namespace northbound
