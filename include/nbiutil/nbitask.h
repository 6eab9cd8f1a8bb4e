/// \file
/// The unit of work that a caller hands to a worker pool, and the agent on whose behalf it runs.
#pragma once

#include <ace/Thread_Mutex.h>

#include <cstdint>
#include <memory>
#include <string>

#include "nbiutil/ad.h"
#include "nbiutil/export.h"
#include "nbiutil/nbitaskplace.h"
#include "nbiutil/threadcontextinfo.h"

namespace NS_UTIL {

enum NBI_TASK_STATE : std::int32_t {
    NBI_TASK_IDLE = 0,      ///< created or queued; the only state in which a task may be pushed
    NBI_TASK_BUSY = 1,      ///< handed out by the pool
    NBI_TASK_FINISHED = 2,  ///< body done or failed, descriptor woken; the pool deletes the task
};

/// The agent (back-end or client) on whose behalf tasks run, with a count and a ceiling of its huge tasks.
/// The pools read only the name and the ceiling, for a message; the counting is for the library's users.
/// Ownership: the caller's; it outlives the tasks that refer to it. Threads: any.
class NBI_EXPORT DBAgent {
public:
    DBAgent(const std::string& name, int nMaxHugeTasks);

    /// Counts one more.
    /// \return false, and nothing changes, when the count is at the maximum.
    bool IncreaseHugeTask();
    /// Counts one less.
    /// \return false, and nothing changes, when the count is 0.
    bool DecreaseHugeTask();

    const std::string& GetAgentName() const { return m_AgentName; }
    const int& GetHugeTaskMaxnum() const { return m_nHugeTaskMax; }

private:
    const std::string m_AgentName;
    int m_nHugeTaskCount = 0;  // guarded by m_AgentLock
    const int m_nHugeTaskMax;
    ACE_Thread_Mutex m_AgentLock;
};

/// One request task. Derive from it and supply Execute(); the frame around the body (Run) carries the
/// creating thread's context onto the worker and turns every outcome into a code and a text on the caller's
/// descriptor.
///
/// Ownership: made with new by the caller; from the push on it belongs to the pool, whatever becomes of the
/// push. The agent stays the caller's and must outlive the task; the descriptor is shared. Threads: any may
/// ask for or change the state of a task that its pool has not deleted yet.
class NBI_EXPORT NBITask : private NBITaskPlace {
public:
    /// Takes a copy of the calling thread's context: interface, user, operation UUID and huge-task
    /// information.
    /// \param bFlag stored for derived classes; the library does not look at it
    NBITask(DBAgent& agent, bool bFlag, AD& ad);
    NBITask(const NBITask&) = delete;
    NBITask& operator=(const NBITask&) = delete;
    virtual ~NBITask();

    /// Preparation, on the worker. An exception here counts as the body's, and the body does not run.
    virtual void Init();

    /// The body, on a worker thread, with no lock of the library held. One that waits for a task of its own
    /// pool may wait for ever: all workers may be doing so. A ProcessException that escapes gives
    /// the descriptor its code and error info; anything else gives ErrCode::TASK_BODY_FAILED.
    virtual void Execute() = 0;

    /// After a body that returned: code 0, wake-up, state finished, in this order. An override must wake the
    /// descriptor and finish the task itself.
    virtual void Complete();

    /// The frame: context, Init(), Execute(), Complete(). No exception leaves it. Called by the pool's
    /// workers, or by a caller that took the task with NBITaskMgr::AcquireIdleTask(); the task may be gone
    /// when it returns.
    void Run();

    /// Wakes the descriptor; code and state stay as they are.
    void Awake();

    NBI_TASK_STATE GetTaskState();
    /// Setting the state of a queued task tells its pool: finished tasks go at the next sweep, idle ones run
    /// in the order in which they were pushed. Nothing happens when the state stays, or when \p state is none
    /// of the three.
    void SetTaskState(NBI_TASK_STATE state);

    std::string GetAgentType();
    /// The task mode of the context taken at construction; not 0 marks a huge (long-running) task.
    int GetTaskMode();
    ThreadContextInfo GetThreadInfo();

protected:
    DBAgent& GetAgent() const { return m_Agent; }
    bool GetFlag() const { return m_bFlag; }
    AD& GetDescriptor() { return m_Descriptor; }

private:
    friend class TaskList;
    friend class TaskQueue;

    void RunGuarded(AD& descriptor);
    void Finish(AD& descriptor);

    bool m_bFlag;
    DBAgent& m_Agent;
    const std::shared_ptr<const ThreadContextInfo> m_pStoredContext;  // also other tasks' and threads'
    AD m_Descriptor;
};

}  // namespace NS_UTIL
