/// \file
/// Tasks of one key in order, keys side by side. Included by nbiutil/async.h.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "nbiutil/async/jobtask.h"

namespace NS_UTIL {

namespace async_internal {

/// The lanes of a strand, one for each key that has tasks. Of each lane one task is with the pool; the others
/// are kept here until its body has ended, so that no worker waits for a turn.
template <class Key, class Less>
class Lanes {
public:
    struct Waiting {
        std::shared_ptr<State> m_pState;
        std::unique_ptr<NBITask> m_pTask;
    };

    explicit Lanes(unsigned int nPool) : m_Pool(*NBITaskMgr::GetTaskMgr(nPool)) {}

    void Append(const Key& key, Waiting waiting)
    {
        std::list<Waiting> one;
        one.push_back(std::move(waiting));
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            const auto [found, bIdle] = m_Lanes.try_emplace(key);
            found->second.m_Waiting.splice(found->second.m_Waiting.end(), one);
            if (!bIdle) return;
        }
        PushNext(key);
    }

    /// The body of \p state has run, or will not.
    void BodyEnded(const Key& key, const State& state)
    {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            const auto found = m_Lanes.find(key);
            if (found == m_Lanes.end() || found->second.m_pWithPool.get() != &state) return;
            found->second.m_pWithPool = nullptr;
            if (found->second.m_bPushing) return;
        }
        PushNext(key);
    }

    /// After a shutdown no body ends any more. A waiter finds that out by the lane's task that was left in the
    /// queue; once that is dropped, those that are kept here follow.
    void LookAtPool(const Key& key)
    {
        std::shared_ptr<State> pWithPool;
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            const auto found = m_Lanes.find(key);
            if (found != m_Lanes.end()) pWithPool = found->second.m_pWithPool;
        }
        if (pWithPool && pWithPool->IsStranded()) pWithPool->Drop();
    }

    std::size_t Size()
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Lanes.size();
    }

private:
    struct Lane {
        std::list<Waiting> m_Waiting;
        std::shared_ptr<State> m_pWithPool;  // null when its body has ended
        bool m_bPushing = false;             // a thread is in PushNext()
    };

    /// Deliberate: a loop, and no recursion. A stopped pool destroys each task within the push.
    void PushNext(const Key& key)
    {
        while (std::unique_ptr<NBITask> pTask = TakeNext(key)) m_Pool.PushTask(pTask.release());
    }

    /// \return null when the lane has a task with the pool, or none at all
    std::unique_ptr<NBITask> TakeNext(const Key& key)
    {
        std::list<Waiting> refused;  // goes after the lock
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const auto found = m_Lanes.find(key);
        Lane& lane = found->second;
        lane.m_bPushing = false;
        if (lane.m_pWithPool) return nullptr;
        while (!lane.m_Waiting.empty() && !lane.m_Waiting.front().m_pState->IsQueued()) {
            refused.splice(refused.end(), lane.m_Waiting, lane.m_Waiting.begin());
        }
        if (lane.m_Waiting.empty()) {
            m_Lanes.erase(found);
            return nullptr;
        }
        Waiting next = std::move(lane.m_Waiting.front());
        lane.m_Waiting.pop_front();
        lane.m_pWithPool = std::move(next.m_pState);
        lane.m_bPushing = true;
        return std::move(next.m_pTask);
    }

    NBITaskMgr& m_Pool;
    std::mutex m_Mutex;
    std::map<Key, Lane, Less> m_Lanes;  // guarded by m_Mutex
};

/// The link of a job to its lane.
template <class Key, class Less>
struct LaneLink {
    std::shared_ptr<Lanes<Key, Less>> m_pLanes;
    Key m_Key;

    void BodyEnded(const State& state) const { m_pLanes->BodyEnded(m_Key, state); }
    void LookAtPool() const { m_pLanes->LookAtPool(m_Key); }
};

}  // namespace async_internal

/// Runs the tasks of one key one after the other, in the order of their Submit(), and those of different keys
/// side by side: one key per session, per device, per file. No worker waits for a turn, and a key without
/// tasks costs nothing.
/// \tparam Key  copied with each task; its copies and comparisons throw nothing
/// Ownership: tasks that were submitted go on when the strand goes. Threads: any.
template <class Key, class Less = std::less<Key>>
class Strand {
public:
    /// \param nPool not HUGE_POOL, whose limits are tested when a task is pushed, for the thread that pushes
    /// \param agent must outlive the tasks
    /// \throws std::invalid_argument for HUGE_POOL
    Strand(unsigned int nPool, DBAgent& agent) : m_pLanes(MakeLanes(nPool)), m_Agent(agent) {}

    /// As NS_UTIL::Submit(); a task that fails, or is cancelled, does not hold up the key.
    template <class Callable>
    auto Submit(const Key& key, Callable&& body, Deadline deadline = NO_DEADLINE)
    {
        using Link = async_internal::LaneLink<Key, Less>;
        auto [pBlock, pTask] = async_internal::MakeTask(m_Agent, std::forward<Callable>(body), deadline, {},
                                                        Link{m_pLanes, key});
        m_pLanes->Append(key, {async_internal::StateOf(pBlock), std::move(pTask)});
        return async_internal::FutureOf(std::move(pBlock));
    }

    /// How many keys have tasks that have not ended.
    std::size_t BusyKeys() const { return m_pLanes->Size(); }

private:
    using Lanes = async_internal::Lanes<Key, Less>;

    static std::shared_ptr<Lanes> MakeLanes(unsigned int nPool)
    {
        if (nPool == HUGE_POOL) throw std::invalid_argument("a strand on the pool of huge tasks");
        return std::make_shared<Lanes>(nPool);
    }

    const std::shared_ptr<Lanes> m_pLanes;
    DBAgent& m_Agent;
};

}  // namespace NS_UTIL
