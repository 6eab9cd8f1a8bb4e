/// \file
/// What pool_bench.cpp measures of one pool, in a process that measures nothing else.
#pragma once

#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <optional>
#include <thread>
#include <vector>

#include "compare.h"
#include "contestants.h"
#include "rounds.h"
#include "support/busycores.h"

namespace poolbench {

using Clock = std::chrono::steady_clock;

enum class Shape {
    STREAM,       // all are pushed, then waited for
    TRIPS,        // one is pushed and waited for at a time
    TRIPS_APART,  // the same, a millisecond after the last one's answer: all threads sleep by then
    BACKLOG,      // all are queued while the only worker is held up, then it runs them
    START,        // workers come up, and go
    MEMORY        // heap of idle workers, and of a queued task
};

struct Cell {
    Shape m_Shape = Shape::STREAM;
    int m_nRequesters = 1;
    int m_nWorkers = 1;
    int m_nMicroseconds = 0;  // of a body
    int m_nTasks = 0;
    bool m_bFails = false;
    int m_nBusyPerCore = 0;  // processes beside it that compute
};

/// Nanoseconds a task, or bytes; which, depends on the shape: see FIGURES.
using Figures = std::array<double, 3>;

/// The names of a shape's figures, in the order of Shape.
constexpr std::array<std::array<const char*, 3>, 6> FIGURES{{{"time", "CPU", nullptr},
                                                             {"median", "mean", "p99"},
                                                             {"median", "mean", "p99"},
                                                             {"drain", "push", nullptr},
                                                             {"ready", "shut down", nullptr},
                                                             {"idle pool", "queued task", nullptr}}};

inline double Nanoseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::nano>(time).count();
}

/// Glibc's bytes in use, so blind to an allocator of a library's own, such as oneTBB's.
inline double HeapInUse()
{
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Once it stays the same for a while: threads that start, or end a task, have done what they do beside it.
inline double HeapAtRest()
{
    constexpr int SAME = 6;
    double nHeap = HeapInUse();
    for (int nSeen = 0; nSeen < SAME; ++nSeen) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const double nNow = HeapInUse();
        if (nNow != nHeap) nSeen = 0;
        nHeap = nNow;
    }
    return nHeap;
}

/// Of one pool: every job there is.
template <class Pool>
class Measurement {
public:
    static Figures Of(const Cell& cell)
    {
        std::optional<nbitest::BusyCores> others;
        if (cell.m_nBusyPerCore > 0) others.emplace(cell.m_nBusyPerCore);
        switch (cell.m_Shape) {
            case Shape::TRIPS:
                return Trips(cell, std::chrono::milliseconds(0));
            case Shape::TRIPS_APART:
                return Trips(cell, std::chrono::milliseconds(1));
            case Shape::BACKLOG:
                return Backlog(cell);
            case Shape::START:
                return Start(cell);
            case Shape::MEMORY:
                return Memory(cell);
            case Shape::STREAM:
                break;
        }
        return Stream(cell);
    }

private:
    using Handles = std::vector<typename Pool::Handle>;

    /// A figure of tasks that did something else would be none.
    static void Wait(typename Pool::Handle& handle, const Body& body)
    {
        const Outcome outcome = Pool::Wait(handle);
        const bool bRight = body.m_bFails ? outcome.m_nCode == CODE && outcome.m_Detail == DETAIL
                                          : outcome.m_nCode == 0 && outcome.m_Detail.empty();
        if (!bRight) std::abort();
    }

    static void PushAndWait(Pool& pool, int nTasks, const Body& body)
    {
        Pool::BeginRequest();
        Handles handles(static_cast<std::size_t>(nTasks));
        for (auto& handle : handles) pool.Push(body, handle);
        for (auto& handle : handles) Wait(handle, body);
    }

    static Figures Stream(const Cell& cell)
    {
        const Body body{cell.m_nMicroseconds, cell.m_bFails};
        const int nEach = cell.m_nTasks / cell.m_nRequesters;
        Pool pool(cell.m_nWorkers);
        PushAndWait(pool, cell.m_nTasks / 10, body);
        const double nProcessor = nbibench::ProcessNanoseconds();
        const auto start = Clock::now();
        std::vector<std::thread> requesters;
        for (int i = 1; i < cell.m_nRequesters; ++i) {
            requesters.emplace_back([&] { PushAndWait(pool, nEach, body); });
        }
        PushAndWait(pool, nEach, body);
        for (std::thread& requester : requesters) requester.join();
        const double nTasks = static_cast<double>(nEach) * cell.m_nRequesters;
        return {Nanoseconds(Clock::now() - start) / nTasks,
                (nbibench::ProcessNanoseconds() - nProcessor) / nTasks, 0};
    }

    static double Trip(Pool& pool)
    {
        const auto start = Clock::now();
        typename Pool::Handle handle;
        pool.Push(Body{}, handle);
        Wait(handle, Body{});
        return Nanoseconds(Clock::now() - start);
    }

    /// For a second; a cell that names tasks ends after so many.
    static Figures Trips(const Cell& cell, std::chrono::milliseconds pause)
    {
        Pool pool(cell.m_nWorkers);
        Pool::BeginRequest();
        for (int i = 0; i < 50; ++i) Trip(pool);
        std::vector<double> trips;
        const auto end = Clock::now() + std::chrono::seconds(1);
        do {
            if (pause.count() > 0) std::this_thread::sleep_for(pause);
            trips.push_back(Trip(pool));
        } while (Clock::now() < end && trips.size() != static_cast<std::size_t>(cell.m_nTasks));
        std::sort(trips.begin(), trips.end());
        const double nSum = std::accumulate(trips.begin(), trips.end(), 0.0);
        return {trips[trips.size() / 2], nSum / static_cast<double>(trips.size()),
                trips[trips.size() * 99 / 100]};
    }

    /// Holds the only worker of \p pool up until the gate opens.
    static void HoldUp(Pool& pool, Gate& gate, typename Pool::Handle& handle)
    {
        pool.Push(Body{0, false, &gate}, handle);
        gate.AwaitArrivals(1);
    }

    /// Short queues over and over, so that each size takes as long.
    static Figures Backlog(const Cell& cell)
    {
        constexpr int TASKS_AT_LEAST = 100000;
        const int nTimes = nbibench::Rounds(std::max(1, TASKS_AT_LEAST / cell.m_nTasks));
        Pool pool(1);
        PushAndWait(pool, 100, Body{});
        double nPush = 0;
        double nDrain = 0;
        for (int i = 0; i < nTimes; ++i) {
            Gate gate;
            typename Pool::Handle first;
            Handles handles(static_cast<std::size_t>(cell.m_nTasks));
            HoldUp(pool, gate, first);
            const auto start = Clock::now();
            for (auto& handle : handles) pool.Push(Body{}, handle);
            const auto pushed = Clock::now();
            gate.Open();
            Wait(handles.back(), Body{});
            nDrain += Nanoseconds(Clock::now() - pushed);
            nPush += Nanoseconds(pushed - start);
            handles.pop_back();
            for (auto& handle : handles) Wait(handle, Body{});
            Wait(first, Body{});
        }
        const double nTasks = static_cast<double>(cell.m_nTasks) * nTimes;
        return {nDrain / nTasks, nPush / nTasks, 0};
    }

    /// Until all workers have a body at once; back from it they are idle.
    static void OccupyAll(Pool& pool, int nWorkers, const Clock::time_point start, double& nReady)
    {
        Gate gate;
        Handles handles(static_cast<std::size_t>(nWorkers));
        for (auto& handle : handles) pool.Push(Body{0, false, &gate}, handle);
        gate.AwaitArrivals(nWorkers);
        nReady = Nanoseconds(Clock::now() - start);
        gate.Open();
        for (auto& handle : handles) Wait(handle, Body{});
    }

    static Figures Start(const Cell& cell)
    {
        Pool::BeginRequest();
        double nReady = 0;
        const auto start = Clock::now();
        auto pPool = std::make_unique<Pool>(cell.m_nWorkers);
        OccupyAll(*pPool, cell.m_nWorkers, start, nReady);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const auto stop = Clock::now();
        pPool.reset();
        return {nReady, Nanoseconds(Clock::now() - stop), 0};
    }

    static Figures Memory(const Cell& cell)
    {
        Pool::BeginRequest();
        double nIdle = HeapInUse();
        double nReady = 0;
        Pool idle(cell.m_nWorkers);
        OccupyAll(idle, cell.m_nWorkers, Clock::now(), nReady);
        nIdle = HeapAtRest() - nIdle;
        Pool pool(1);
        PushAndWait(pool, 100, Body{});
        Gate gate;
        typename Pool::Handle first;
        HoldUp(pool, gate, first);
        Handles handles(static_cast<std::size_t>(cell.m_nTasks));  // whose array does not count
        const double nBefore = HeapInUse();
        for (auto& handle : handles) pool.Push(Body{}, handle);
        const double nQueued = (HeapInUse() - nBefore) / static_cast<double>(handles.size());
        gate.Open();
        for (auto& handle : handles) Wait(handle, Body{});
        Wait(first, Body{});
        return {nIdle, nQueued, 0};
    }
};

}  // namespace poolbench
