/// \file
/// In place of src/task/poolfigures.h: a pool that counts and measures nothing, for bench/pool/figures_bench.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

namespace NS_UTIL {

class NBITask;
struct PoolSnapshot;

class PoolFigures {
public:
    static constexpr std::uint64_t QUEUED = 0;
    static constexpr std::uint64_t MEASURED = 0;

    struct Worker {
        unsigned int m_nNumber = 0;
        const NBITask* m_pTask = nullptr;
    };
    void Enter(Worker& worker) { worker.m_nNumber = 1; }
    void Leave(Worker& /*worker*/) {}

    std::uint64_t Push(std::int64_t /*nNow*/) { return ++m_nLastOrder; }
    void EnterQueue() {}
    void LeaveQueue() {}
    void Take(const NBITask& /*task*/, std::uint64_t /*nOrder*/, bool /*bWorkers*/) {}
    static void ForgetReturn() {}
    void End(const NBITask& /*task*/, bool /*bFailed*/, std::int64_t /*nNow*/) {}
    void Drop() {}
    void Defer(std::uint64_t /*nOrder*/) {}
    void Refuse(unsigned int /*nCode*/) {}
    static std::int64_t Now() { return 0; }
    void ReadInto(PoolSnapshot& /*snapshot*/, const std::uint64_t* /*pOldest*/) {}
    const Worker* Longest() const { return nullptr; }

private:
    std::uint64_t m_nLastOrder = 0;
};

}  // namespace NS_UTIL
