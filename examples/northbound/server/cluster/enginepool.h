/// \file
/// Connections to the engine for many threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "server/cluster/engineconnection.h"

namespace northbound {

/// Each call has a connection to itself, and waits for one no longer than for its answer. Threads: any.
class EnginePool {
public:
    /// \throws std::invalid_argument as CheckConnectionText()
    EnginePool(const std::string& text, const EngineLimits& limits, std::size_t nConnections);

    /// \throws EngineAway also when no connection is free in time; EngineRefusal
    Rows Execute(const std::string& statement, const Cells& parameters = {});

private:
    EngineConnection Take(std::chrono::steady_clock::time_point end);
    void GiveBack(EngineConnection&& connection);

    const std::chrono::milliseconds m_Call;
    std::mutex m_Mutex;
    std::condition_variable m_Given;
    std::vector<EngineConnection>
        m_Free;  // the last one that was given back is the first to go; guarded by m_Mutex
};

}  // namespace northbound
