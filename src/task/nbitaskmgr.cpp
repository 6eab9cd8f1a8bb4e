#include "nbiutil/nbitaskmgr.h"

#include <ace/Log_Msg.h>
#include <ace/Thread_Manager.h>

#include <array>
#include <new>

#include "base/probe.h"
#include "log/log.h"
#include "nbihost/corbaconfigitems.h"
#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/poolsnapshot.h"
#include "task/hugepool.h"
#include "task/processend.h"
#include "task/taskqueue.h"
#include "task/throw.h"
#include "task/timeslice.h"
#include "task/workername.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "nbitaskmgr";
constexpr SourceMark NULL_TASK{MODULE, 152};
constexpr SourceMark TASK_NOT_IDLE{MODULE, 175};
constexpr SourceMark NOTHING_IDLE{MODULE, 251};

constexpr int DEFAULT_THREADS = 20;
constexpr int MAX_THREADS = 999;
constexpr int ALREADY_OPEN = 1;  // what activate() answers then

int ConfiguredThreads()
{
    int nThreads = 0;
    const bool bRead =
        NS_BUNDLEMGR1::CorbaConfigItems::Instance()->GetIntItemInfo("TaskMgrMaxThreadNum", nThreads);
    if (!bRead || nThreads < 1 || nThreads > MAX_THREADS) nThreads = DEFAULT_THREADS;
    WriteLog(Here(MODULE), "[NBITaskMgr::NBITaskMgr()] m_nThreadNum = %d", nThreads);
    return nThreads;
}

/// A task that cannot be entered for lack of memory runs all the same.
void EnterIntoBook(NBITask& task) noexcept
{
    try {
        if (HugeTaskMgr* const pBook = HugeTaskMgr::Instance()) pBook->SetHTskInfo(task.GetThreadInfo());
    } catch (const std::bad_alloc&) {
        WriteLog(Here(MODULE), "[NBITaskMgr::AcquireIdleTask] no memory to enter a task into the book");
    }
}

/// The calling thread stands among the pool's workers while this lives.
class EnteredWorker {
public:
    explicit EnteredWorker(TaskQueue& queue) : m_Queue(queue)
    {
        MutexGuard guard(m_Queue.Lock());
        m_Queue.FiguresLocked().Enter(m_Worker);
    }
    EnteredWorker(const EnteredWorker&) = delete;
    EnteredWorker& operator=(const EnteredWorker&) = delete;
    ~EnteredWorker()
    {
        MutexGuard guard(m_Queue.Lock());
        m_Queue.FiguresLocked().Leave(m_Worker);
    }
    unsigned int Number() const { return m_Worker.m_nNumber; }

private:
    TaskQueue& m_Queue;
    PoolFigures::Worker m_Worker;
};

/// For people who look at the process. A thread without memory for its name works without one.
void NameWorker(unsigned int nPool, unsigned int nWorker) noexcept
{
    try {
        NameThisThread(WorkerName(nPool, nWorker));
    } catch (const std::bad_alloc&) {
        WriteLog(Here(MODULE), "[NBITaskMgr::svc] no memory for the name of a thread");
    }
}

/// What an ACE assertion would report, without its end of the process.
void ReportNullTask()
{
    ACE_Log_Msg* const pLog = ACE_Log_Msg::instance();
    pLog->conditional_set(NULL_TASK.m_pModule, NULL_TASK.m_nLine, -1, 0);
    pLog->log(LM_ERROR, ACE_TEXT("ACE_ASSERT: file %N, line %l assertion failed for '%C'.\n"), "0 != pTask");
    WriteLog(Here(MODULE), "[NBITaskMgr::PushTask] pTask is NULL");
}

/// The pools that have been started, for look-ups that take no lock. Pools are never removed, so a bucket
/// only grows at its head.
std::array<std::atomic<NBITaskMgr*>, 64> g_StartedPools{};

std::atomic<NBITaskMgr*>& BucketOf(unsigned int nNumber)
{
    return g_StartedPools[nNumber % g_StartedPools.size()];
}

}  // namespace

std::map<unsigned int, NBITaskMgr*>& NBITaskMgr::m_AllTaskMgrs = *new std::map<unsigned int, NBITaskMgr*>;
ACE_Thread_Mutex& NBITaskMgr::m_GetTaskMgrMutex = *new ACE_Thread_Mutex;
std::atomic<bool> NBITaskMgr::m_bExit{false};
NBITaskMgr* NBITaskMgr::m_pInstance = nullptr;

NBITaskMgr::NBITaskMgr() : NBITaskMgr(0)
{
}

NBITaskMgr::NBITaskMgr(int nNumber)
    : m_nThreadNum(ConfiguredThreads()),
      m_pQueue(std::make_unique<TaskQueue>(nNumber == HUGE_POOL)),
      m_nNumber(nNumber)
{
}

NBITaskMgr::~NBITaskMgr()
{
    {
        MutexGuard guard(m_pQueue->Lock());
        m_bStopping.store(true, std::memory_order_release);
        m_pQueue->FailIdleLocked();
    }
    m_pQueue->Tokens().PostForAll(static_cast<unsigned int>(m_nThreadNum) + 1);
    wait();
    m_pQueue->DeleteAllFailed();
}

int NBITaskMgr::open(void*)
{
    if (IsStopping()) return close(0);  // as workers would, which would end at once
    ProcessEnd::ExpectWorkers(m_nThreadNum);
    const int nResult = activate(THR_NEW_LWP, m_nThreadNum, 0, ACE_DEFAULT_THREAD_PRIORITY, -1, nullptr,
                                 nullptr, nullptr, nullptr, nullptr);
    if (nResult == ALREADY_OPEN) ProcessEnd::ForgetWorkers(m_nThreadNum);
    if (nResult != -1) return 0;
    const int nStarted = thr_mgr()->num_threads_in_task(this);
    ProcessEnd::ForgetWorkers(m_nThreadNum - nStarted);
    WriteLog(Here(MODULE), "[NBITaskMgr::open] only %d of %d threads could be started", nStarted,
             m_nThreadNum);
    m_bWithoutWorkers.store(nStarted <= 0, std::memory_order_release);
    return -1;
}

void NBITaskMgr::OpenIfWithoutWorkers()
{
    if (m_bWithoutWorkers.load(std::memory_order_acquire) && m_bWithoutWorkers.exchange(false)) open(nullptr);
}

int NBITaskMgr::close(unsigned long)
{
    if (m_bStopping.load(std::memory_order_acquire)) return 0;  // the destructor gives the tasks a code first
    MutexGuard guard(m_pQueue->Lock());
    m_pQueue->WakeAllLocked();
    return 0;
}

bool NBITaskMgr::IsStopping() const
{
    return m_bExit.load(std::memory_order_acquire) || m_bStopping.load(std::memory_order_acquire);
}

bool NBITaskMgr::IsHugePool() const
{
    return m_nNumber == HUGE_POOL;
}

int NBITaskMgr::svc()
{
    ProcessEnd::WorkerArrives();
    const EnteredWorker worker(*m_pQueue);
    NameWorker(static_cast<unsigned int>(m_nNumber), worker.Number());
    if (!IsHugePool()) AskForShortTimeSlices();  // long tasks have time
    NBITask* pRan = nullptr;
    while (!IsStopping()) {
        NBITask* const pTask = Acquire(Hands::WORKER, pRan);
        pRan = pTask;
        if (pTask == nullptr) continue;
        pTask->Run();
        if (IsHugePool()) {
            // The extra token is a second chance for a task that was deferred. Whoever takes it must find
            // this one's place in the book free: a token spent on a look in vain does not come back.
            TakeBackAndSweep(*pTask);
            pRan = nullptr;
            m_pQueue->Tokens().Post();
        }
    }
    if (pRan != nullptr) TakeBack(*pRan);
    m_pQueue->Tokens().Post();
    return 0;
}

void NBITaskMgr::TakeBack(NBITask& task)
{
    const std::int64_t nNow = PoolFigures::Now();
    MutexGuard guard(m_pQueue->Lock());
    m_pQueue->TakeBackLocked(task, nNow);
}

/// A pool that ends sweeps no more.
void NBITaskMgr::TakeBackAndSweep(NBITask& task)
{
    const std::int64_t nNow = PoolFigures::Now();
    TaskList finished;
    {
        MutexGuard guard(m_pQueue->Lock());
        m_pQueue->TakeBackLocked(task, nNow);
        if (!IsStopping()) m_pQueue->SweepFinishedLocked(finished);
    }
    DeleteAll(finished);
}

void NBITaskMgr::PushTask(NBITask* pTask)
{
    if (pTask == nullptr) {
        ReportNullTask();
        return;
    }
    OpenIfWithoutWorkers();
    const std::int64_t nNow = PoolFigures::Now();
    bool bStopping = false;
    bool bQueued = false;
    {
        MutexGuard guard(m_pQueue->Lock());
        bStopping = IsStopping();
        if (!bStopping) bQueued = m_pQueue->AppendLocked(*pTask, nNow);
        if (bQueued) {
            NBI_PROBE(push, m_nNumber, pTask);
        } else if (!bStopping) {
            NBI_PROBE(refuse, m_nNumber, ErrCode::TASK_NOT_IDLE);
            m_pQueue->FiguresLocked().Refuse(ErrCode::TASK_NOT_IDLE);
        } else if (TaskQueue::OwnerOf(*pTask) == nullptr) {
            m_pQueue->FiguresLocked().Drop();
        }
    }
    if (bQueued) {
        m_pQueue->Tokens().Post();
        return;
    }
    if (TaskQueue::OwnerOf(*pTask) != nullptr) {
        TaskQueue::PushedAgain(*pTask);
    } else {
        // Deliberate: after the exit flag the descriptor stays unwoken; who waits relies on the framework's
        // stop. A pool that alone goes away has no such signal behind it.
        if (bStopping && !m_bExit.load(std::memory_order_acquire)) TaskQueue::Fail(*pTask);
        delete pTask;
    }
    if (bStopping) return;
    WriteLog(Here(MODULE), "[NBITaskMgr::PushTask] CALL GetTaskState Task is busy");
    Throw(TASK_NOT_IDLE, ErrCode::TASK_NOT_IDLE, "Task state is not idle,cann't Handle!");
}

NBITask* NBITaskMgr::AcquireIdleTask()
{
    return Acquire(Hands::CALLER, nullptr);
}

/// One look for work; \p pReturned is the task that the worker ran before. Sweep and take share one round of
/// the queue lock when a token is there already. Pool 2 deletes what it has swept before it takes: destructors
/// may read the book.
NBITask* NBITaskMgr::Acquire(Hands hands, NBITask* pReturned)
{
    WorkTokens& tokens = m_pQueue->Tokens();
    while (!IsStopping()) {
        TaskList finished;
        NBITask* pTask = nullptr;
        bool bDeferred = false;
        bool bToken = false;
        const std::int64_t nNow = PoolFigures::Now();
        if (pReturned == nullptr) PoolFigures::ForgetReturn();
        {
            MutexGuard guard(m_pQueue->Lock());
            if (pReturned != nullptr) m_pQueue->TakeBackLocked(*pReturned, nNow);
            pReturned = nullptr;
            m_pQueue->SweepFinishedLocked(finished);
            bToken = (!IsHugePool() || finished.IsEmpty()) && tokens.TryTake();
            if (bToken) pTask = TakeIdleLocked(hands, bDeferred);
        }
        DeleteAll(finished);
        if (!bToken) {
            tokens.Take();
            PoolFigures::ForgetReturn();
            MutexGuard guard(m_pQueue->Lock());
            pTask = TakeIdleLocked(hands, bDeferred);
        }
        // The token may be one that was meant for a worker's end. A worker passes it on when it leaves svc.
        if (hands == Hands::CALLER && IsStopping()) tokens.Post();
        if (pTask != nullptr || bDeferred) return pTask;
    }
    if (pReturned != nullptr) TakeBack(*pReturned);
    return nullptr;
}

NBITask* NBITaskMgr::TakeIdleLocked(Hands hands, bool& bDeferred)
{
    if (m_bStopping.load(std::memory_order_relaxed)) return nullptr;  // the idle ones have failed already
    while (NBITask* const pTask = m_pQueue->FirstIdleLocked()) {
        if (IsHugePool() && !MayStartLocked(*pTask)) {
            m_pQueue->DeferLocked(*pTask);
            bDeferred = true;
            return nullptr;
        }
        if (!m_pQueue->HandOutLocked(*pTask, hands == Hands::WORKER)) continue;
        NBI_PROBE(take, m_nNumber, pTask);
        return pTask;
    }
    WriteLog(NOTHING_IDLE, "Acquire Idle Task error!!");
    return nullptr;
}

/// Pool 2's rule. Huge tasks had their limits tested at the push. Deliberate: for the others the limits are
/// asked with the context of this thread, that of the last task it ran, and not with the waiting task's;
/// servers tune their limits to that.
bool NBITaskMgr::MayStartLocked(NBITask& task)
{
    if (task.GetTaskMode() == 0 && ReachedHugeLimit() != HugeLimit::NONE) return false;
    EnterIntoBook(task);
    return true;
}

void NBITaskMgr::SetExitFlag()
{
    m_bExit.store(true, std::memory_order_release);
    m_pQueue->Tokens().PostForAll(static_cast<unsigned int>(m_nThreadNum) + 1);
}

void NBITaskMgr::CountRefused(unsigned int nCode)
{
    NBI_PROBE(refuse, m_nNumber, nCode);
    MutexGuard guard(m_pQueue->Lock());
    m_pQueue->FiguresLocked().Refuse(nCode);
}

void NBITaskMgr::SetThreadNamePrefix(const std::string& prefix)
{
    SetWorkerNamePrefix(prefix);
}

PoolSnapshot NBITaskMgr::TakeSnapshot()
{
    PoolSnapshot snapshot;
    snapshot.m_nNumber = static_cast<unsigned int>(m_nNumber);
    snapshot.m_nWorkers = static_cast<unsigned int>(m_nThreadNum);
    {
        MutexGuard guard(m_pQueue->Lock());
        m_pQueue->ReadLocked(snapshot);
    }
    if (IsHugePool()) ReadBook(snapshot);
    return snapshot;
}

NBITaskMgr* NBITaskMgr::FindStarted(unsigned int nNumber)
{
    NBITaskMgr* pPool = BucketOf(nNumber).load(std::memory_order_acquire);
    while (pPool != nullptr && static_cast<unsigned int>(pPool->m_nNumber) != nNumber) {
        pPool = pPool->m_pNextInBucket;
    }
    return pPool;
}

NBITaskMgr* NBITaskMgr::GetTaskMgr(unsigned int nNumber)
{
    if (NBITaskMgr* const pPool = FindStarted(nNumber)) return pPool;
    MutexGuard guard(m_GetTaskMgrMutex);
    const auto found = m_AllTaskMgrs.find(nNumber);
    return found != m_AllTaskMgrs.end() ? found->second : MakeStartedLocked(nNumber);
}

NBITaskMgr* NBITaskMgr::MakeStartedLocked(unsigned int nNumber)
{
    WriteLog(Here(MODULE), "[NBITaskMgr::GetTaskMgr]  Find TaskMgrID = %d", static_cast<int>(nNumber));
    auto pMade = std::make_unique<NBITaskMgr>(static_cast<int>(nNumber));
    m_AllTaskMgrs.emplace(nNumber, pMade.get());
    NBITaskMgr* const pPool = pMade.release();
    pPool->open(nullptr);
    std::atomic<NBITaskMgr*>& bucket = BucketOf(nNumber);
    pPool->m_pNextInBucket = bucket.load(std::memory_order_relaxed);
    bucket.store(pPool, std::memory_order_release);
    return pPool;
}

bool NBITaskMgr::TaskMgrExisted(unsigned int nNumber)
{
    MutexGuard guard(m_GetTaskMgrMutex);
    return m_AllTaskMgrs.count(nNumber) > 0;
}

void NBITaskMgr::GetAllTaskMgrId(std::vector<unsigned int>& ids)
{
    MutexGuard guard(m_GetTaskMgrMutex);
    for (const auto& entry : m_AllTaskMgrs) ids.push_back(entry.first);
}

void NBITaskMgr::Destroy()
{
    delete m_pInstance;
    m_pInstance = nullptr;
}

}  // namespace NS_UTIL
