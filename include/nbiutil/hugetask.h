/// \file
/// The book of the huge (long-running) tasks that are running now, and their limits.
#pragma once

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "nbiutil/export.h"

class ACE_Thread_Mutex;

namespace NS_UTIL {

class ThreadContextInfo;

/// Book of the running huge tasks: their operation UUIDs by task information (task manager and interface).
/// Pool 2 asks it before it takes a task, enters the tasks that start and takes out those that are gone.
/// Asking and entering are separate steps: two threads may both be let in before either is entered.
///
/// Ownership: one per process, from the first Instance() to Destroy(); callers never delete it.
/// Errors: nothing is reported; the book is kept with or without a log service.
/// Threads: any. Lock order: a pool's queue lock before the book's. Entering and taking out log under the book's
/// lock, so that the lines stand in the order of the entries: a log service must not ask the book in turn.
class NBI_EXPORT HugeTaskMgr {
public:
    /// Null only when there is no book yet and the static-object lock cannot be taken.
    static HugeTaskMgr* Instance();
    /// Runs the destructor under ACE's process-wide static-object lock; nothing happens when that lock fails.
    static void Destroy();

    /// Sets the overall limit, 4 until then. May be called again at any time.
    void Init(const unsigned int& nMaxNum);

    /// Is the calling thread's request a synchronous huge task (task number 0 or more, task type -1)?
    bool IsSynHTsk();
    /// Is the calling thread's request an asynchronous huge task (task number 0 or more, task type 0)?
    bool IsAynHTsk();

    /// How many tasks are in the book. Waits until an entry that is being made has been logged.
    unsigned int GetHTskNum();

    /// Is the book full? Deliberate: reaching the limit counts, while IsOverSingleHTaskNum() is true only
    /// beyond its limit. Callers set the two limits with that in mind.
    bool IsOverHTaskNum();

    /// Has the calling request's own kind more tasks in the book than the request's task number allows? A
    /// task number below 1 sets no limit. Asking enters the kind with an empty list.
    bool IsOverSingleHTaskNum();

    /// Enters \p info's operation UUID under its task information; a UUID that is there already is not
    /// entered twice. So two huge tasks of one request are one entry, and the first to end takes it out.
    void SetHTskInfo(const ThreadContextInfo& info);
    /// Takes it out again.
    void RemoveHTskInfo(const ThreadContextInfo& info);

    /// \param[out] out a copy of the book: task information to operation UUIDs in the order of entering
    void GetHuTaskMap(std::map<std::string, std::list<std::string>>& out);

    /// The overall limit.
    unsigned int GetHTskMax() const;

private:
    HugeTaskMgr();
    ~HugeTaskMgr();

    const std::string& KeyOfLocked(const ThreadContextInfo& info);

    static std::atomic<HugeTaskMgr*> m_pInstance;
    const std::unique_ptr<ACE_Thread_Mutex> m_pManagerLock;
    std::map<std::string, std::list<std::string>> m_HugeTasks;  // guarded by m_pManagerLock
    // Sum of the lists' lengths; guarded by m_pManagerLock, and atomic only because the contract keeps its type.
    std::atomic<unsigned int> m_nTotal{0};
    std::atomic<unsigned int> m_nMax{4};
    std::string m_Key;  // guarded by m_pManagerLock; keeps its room from one key to the next
};

}  // namespace NS_UTIL
