/// \file
/// Worker pools, their process-wide registry, and the facade that request handlers use.
#pragma once

#include <ace/Task.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "nbiutil/export.h"

class ACE_Thread_Mutex;

namespace NS_UTIL {

class DBAgent;
class NBITask;
class TaskQueue;
struct PoolSnapshot;

/// A pool of worker threads that run tasks first-in first-out. Pools go by small numbers and live in a
/// process-wide registry from their first GetTaskMgr() until the process ends. Pool 2 is the huge-task pool:
/// HugeTaskMgr's limits decide when its tasks of mode 0 may start.
///
/// Ownership: a pushed task belongs to the pool, which deletes it after it has finished, when one of its
/// workers next looks for work. A task has one pool at most. Threads: any. Lock order: registry lock, queue
/// lock, task lock or HugeTaskMgr's lock. Task bodies, and the destructors of tasks that finished or were
/// refused, run with no lock held.
class NBI_EXPORT NBITaskMgr : public ACE_Task_Base {
public:
    /// A pool without workers yet: open() starts them. Their number is the configuration item
    /// "TaskMgrMaxThreadNum" if that lies in 1..999, else 20.
    NBITaskMgr();
    explicit NBITaskMgr(int nNumber);
    NBITaskMgr(const NBITaskMgr&) = delete;
    NBITaskMgr& operator=(const NBITaskMgr&) = delete;

    /// Ends the workers (each after the task in its hands) and fails every task still queued with
    /// ErrCode::POOL_DESTROYED, whatever states the tasks' destructors set meanwhile. Not for use by one of
    /// the pool's own workers, nor while a caller's thread is in AcquireIdleTask().
    ~NBITaskMgr() override;

    /// Starts the workers. After SetExitFlag(), when they would end at once, it starts none, and wakes the tasks that
    /// are queued, as their ends would.
    /// \return 0, or -1 when not all of them could be started, which is logged. A pool that got none tries
    ///         again at the next push.
    int open(void* pArgs = nullptr) override;

    /// Wakes the descriptors of all tasks that are queued or running, as they stand (normally with code 0).
    /// ACE calls it too, whenever a worker ends.
    /// \return 0
    int close(unsigned long nFlags = 0) override;

    /// A worker's life.
    /// \return 0
    int svc() override;

    /// Queues \p pTask and returns. Null is reported in the log and ignored. After SetExitFlag() of any pool
    /// the task is deleted and nothing is raised; its descriptor is not woken. While this pool alone is being
    /// destroyed, which a body that still runs may meet, the same; but the descriptor gets
    /// ErrCode::POOL_DESTROYED and is woken.
    /// \throws ProcessException with ErrCode::TASK_NOT_IDLE when the task is not idle, or when a pool owns it
    ///         already. A task without an owner is deleted then. One that is queued and idle stays queued,
    ///         once; one that a worker is running is deleted when the worker is done with it; any other is
    ///         deleted at once.
    void PushTask(NBITask* pTask);

    /// A worker's wait for work: deletes finished tasks, waits for a token, and gives the first idle task,
    /// now busy. Null when the exit flag is set, or when pool 2's limits keep its first idle task waiting.
    /// For threads of the caller's own too: the caller then runs the task, which stays the pool's. A token of
    /// the workers' end that such a thread takes is passed on.
    ///
    /// A worker may take its next task before it deletes the finished ones, except in pool 2: a slow
    /// destructor delays that task, and a destructor must not wait for a task of the same pool. In pool 2 the
    /// destructor of a finished task sees the book without it and without its successor.
    NBITask* AcquireIdleTask();

    /// Ends all pools: none takes work from now on, and the workers of this one stop. One-way.
    void SetExitFlag();

    /// The pool with this number, made and started if there is none yet. Never null.
    static NBITaskMgr* GetTaskMgr(unsigned int nNumber);
    static bool TaskMgrExisted(unsigned int nNumber);
    /// Appends the numbers of all pools, ascending.
    /// \param[in,out] ids not cleared first
    static void GetAllTaskMgrId(std::vector<unsigned int>& ids);
    /// Deletes the pool in m_pInstance, if a derived class has put one there. No lock is held meanwhile: one
    /// thread calls it, when nobody uses that pool any more.
    static void Destroy();

    /// What the pool does now, and has done. Takes the queue lock. nbiutil/poolsnapshot.h says what the figures
    /// mean, and has the pools of the registry by number.
    /// \throws std::bad_alloc
    PoolSnapshot TakeSnapshot();
    /// For code in front of the pool that refuses tasks by a rule of its own: counts a refusal, so that it stands
    /// in the pool's snapshot beside those of the pool.
    /// \param nCode the code that the caller gets
    void CountRefused(unsigned int nCode);

    /// Workers are named after pool and number, "nbi-p2-w07", for debuggers and process viewers. This puts a
    /// prefix in front of the names of those that start from now on, for a process with several libraries.
    /// \param prefix its first four characters count
    static void SetThreadNamePrefix(const std::string& prefix);

protected:
    static NBITaskMgr* m_pInstance;

private:
    enum class Hands { CALLER, WORKER };

    static NBITaskMgr* FindStarted(unsigned int nNumber);
    static NBITaskMgr* MakeStartedLocked(unsigned int nNumber);
    NBITask* Acquire(Hands hands, NBITask* pReturned);
    NBITask* TakeIdleLocked(Hands hands, bool& bDeferred);
    bool MayStartLocked(NBITask& task);
    void TakeBack(NBITask& task);
    void TakeBackAndSweep(NBITask& task);
    void OpenIfWithoutWorkers();
    bool IsStopping() const;
    bool IsHugePool() const;

    // Never destroyed: a body may still run, and ask for a pool, after main() has returned.
    static std::map<unsigned int, NBITaskMgr*>& m_AllTaskMgrs;  // guarded by m_GetTaskMgrMutex
    static ACE_Thread_Mutex& m_GetTaskMgrMutex;
    static std::atomic<bool> m_bExit;

    int m_nThreadNum;
    std::unique_ptr<TaskQueue> m_pQueue;  // tasks, their lock, and the work semaphore
    int m_nNumber;
    NBITaskMgr* m_pNextInBucket = nullptr;       // written once, before the pool can be found
    std::atomic<bool> m_bStopping{false};        // this pool alone is going away
    std::atomic<bool> m_bWithoutWorkers{false};  // open() was called and no worker could be started
};

/// What request handlers use: the pools by number, with pool 2's limits in front. No state of its own.
class NBI_EXPORT TaskPoolMgr {
public:
    /// Sets how many huge tasks may run at once.
    static void Init(const int& nMaxHugeTasks);
    static int GetHugeTaskNum();

    /// Pushes \p pTask to the pool \p nNumber. The caller must not touch the task afterwards, whatever
    /// happens.
    /// \throws ProcessException with ErrCode::HUGE_TASK_LIMIT when the pool is 2, the task is huge (its mode
    ///         is not 0) and a limit is reached for the calling thread's request; the task is deleted
    /// \throws std::bad_alloc when there is no memory for a new pool; the task is deleted
    /// \throws ProcessException as NBITaskMgr::PushTask()
    static void PushTask(DBAgent& agent, NBITask* pTask, unsigned int nNumber);

    /// Stops pools 0, 1 and 2 and joins their workers; running bodies end first. Queued callers wake with the
    /// code that their descriptor holds. From now on no pool takes work. When none of the three exists,
    /// nothing happens: the exit flag is not set, and pools with other numbers go on.
    static void ShutDown();
};

}  // namespace NS_UTIL
