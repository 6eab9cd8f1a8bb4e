// Sequences of what callers do with a pool that has no workers, one operation a byte, against a second implementation over
// one list: push, push again, set a state, take, run, look, count, and the pool's end.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "fuzz/demand.h"
#include "fuzz/fuzzinput.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/errcode.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/poolsnapshot.h"
#include "nbiutil/processexception.h"

namespace {

using nbitest::Demand;
using namespace NS_UTIL;

constexpr std::size_t MOST_TASKS = 64;

DBAgent& Agent()
{
    static DBAgent agent("agent", 4);
    return agent;
}

class FuzzTask : public NBITask {
public:
    FuzzTask(AD& done, bool bFails, bool& bGone)
        : NBITask(Agent(), false, done), m_bFails(bFails), m_bGone(bGone)
    {
    }
    ~FuzzTask() override { m_bGone = true; }
    void Execute() override
    {
        if (m_bFails) throw ProcessException(5, "", "", "", 0);
    }

private:
    const bool m_bFails;
    bool& m_bGone;
};

/// A task and what the second implementation knows of it.
struct Known {
    AD m_Done;
    bool m_bFails = false;
    FuzzTask* m_pTask = nullptr;
    bool m_bGone = false;  // says the task

    NBI_TASK_STATE m_State = NBI_TASK_IDLE;
    bool m_bQueued = false;  // the pool's own
    bool m_bDeleted = false;
    bool m_bAwake = false;
    unsigned long m_nCode = 0;
};

class Pool {
public:
    ~Pool()
    {
        m_pPool.reset();
        for (auto& pKnown : m_Tasks) {
            if (!pKnown->m_bQueued && !pKnown->m_bDeleted) delete pKnown->m_pTask;
        }
    }

    void Do(nbitest::FuzzInput& input)
    {
        const unsigned int nOperation = input.Byte();
        Known* const pKnown = Choose(nOperation / 8);
        switch (nOperation % 8) {
            case 0:
                MakeOrPush(nOperation / 8);
                break;
            case 1:
                if (pKnown != nullptr) Push(*pKnown);
                break;
            case 2:
            case 3:
                if (pKnown != nullptr) SetState(*pKnown, static_cast<NBI_TASK_STATE>(input.Byte() % 4));
                break;
            case 4:
            case 5:
                Take();
                break;
            case 6:
                if (pKnown != nullptr) Run(*pKnown);
                break;
            default:
                if (nOperation / 8 == 31) {
                    End();
                } else {
                    m_pPool->close(0);
                    for (auto& pEach : m_Tasks) {
                        if (pEach->m_bQueued && pEach->m_State != NBI_TASK_FINISHED) pEach->m_bAwake = true;
                    }
                }
        }
        Compare();
    }

    /// After the exit flag: what is pushed goes, and its descriptor sleeps on.
    void Exit()
    {
        m_pPool->SetExitFlag();
        Demand(m_pPool->AcquireIdleTask() == nullptr, "nothing is handed out after the exit");
        Known& late = Make(0);
        m_pPool->PushTask(late.m_pTask);
        Demand(late.m_bGone && !late.m_Done.IsFinished(), "a task that comes too late");
        late.m_bDeleted = true;
    }

private:
    Known* Choose(unsigned int nWhich)
    {
        std::vector<Known*> alive;
        for (auto& pKnown : m_Tasks) {
            if (!pKnown->m_bDeleted) alive.push_back(pKnown.get());
        }
        return alive.empty() ? nullptr : alive[nWhich % alive.size()];
    }

    Known& Make(unsigned int nHow)
    {
        m_Tasks.push_back(std::make_unique<Known>());
        Known& known = *m_Tasks.back();
        known.m_bFails = nHow % 2 != 0;
        known.m_pTask = new FuzzTask(known.m_Done, known.m_bFails, known.m_bGone);
        return known;
    }

    /// Beyond MOST_TASKS nothing is left lying about: what is made is pushed.
    void MakeOrPush(unsigned int nHow)
    {
        Known& known = Make(nHow);
        if (m_Tasks.size() > MOST_TASKS) Push(known);
    }

    void Push(Known& known)
    {
        bool bRefused = false;
        try {
            m_pPool->PushTask(known.m_pTask);
        } catch (ProcessException& failure) {
            bRefused = failure.GetErrorCode() == ErrCode::TASK_NOT_IDLE;
        }
        const bool bWanted = !known.m_bQueued && known.m_State == NBI_TASK_IDLE;
        Demand(bRefused == !bWanted, "a push is refused");
        if (bWanted) {
            known.m_bQueued = true;
            m_Order.push_back(&known);
            ++m_nTokens;
            ++m_nPushed;
        } else {
            ++m_nRefused;
            const bool bStays = known.m_bQueued && known.m_State == NBI_TASK_IDLE;
            if (!bStays) Forget(known);
        }
    }

    void SetState(Known& known, NBI_TASK_STATE state)
    {
        known.m_pTask->SetTaskState(state);
        if (static_cast<unsigned int>(state) <= NBI_TASK_FINISHED) known.m_State = state;
    }

    /// Only where it does not wait for ever.
    void Take()
    {
        const auto first = std::find_if(m_Order.begin(), m_Order.end(),
                                        [](const Known* pKnown) { return pKnown->m_State == NBI_TASK_IDLE; });
        if (m_nTokens == 0 || first == m_Order.end()) return;
        Known& wanted = **first;
        Demand(m_pPool->AcquireIdleTask() == wanted.m_pTask, "the first idle task is handed out");
        --m_nTokens;
        wanted.m_State = NBI_TASK_BUSY;
        const std::vector<Known*> all = m_Order;
        for (Known* const pKnown : all) {
            if (pKnown->m_State == NBI_TASK_FINISHED) Forget(*pKnown);
        }
    }

    void Run(Known& known)
    {
        known.m_pTask->Run();
        if (!known.m_bAwake) known.m_nCode = known.m_bFails ? 5 : 0;
        known.m_bAwake = true;
        known.m_State = NBI_TASK_FINISHED;
    }

    void Forget(Known& known)
    {
        known.m_bDeleted = true;
        known.m_bQueued = false;
        m_Order.erase(std::remove(m_Order.begin(), m_Order.end(), &known), m_Order.end());
    }

    /// The pool goes, and another one comes.
    void End()
    {
        m_pPool = std::make_unique<NBITaskMgr>(7);
        const std::vector<Known*> all = m_Order;
        for (Known* const pKnown : all) {
            if (!pKnown->m_bAwake) pKnown->m_nCode = ErrCode::POOL_DESTROYED;
            pKnown->m_bAwake = true;
            Forget(*pKnown);
        }
        m_nTokens = m_nPushed = m_nRefused = 0;
    }

    void Compare()
    {
        std::uint64_t nIdle = 0;
        for (const auto& pKnown : m_Tasks) {
            Demand(pKnown->m_bGone == pKnown->m_bDeleted, "a task lives");
            Demand(pKnown->m_Done.IsFinished() == pKnown->m_bAwake, "a descriptor is awake");
            if (pKnown->m_bAwake) Demand(CodeOf(pKnown->m_Done) == pKnown->m_nCode, "a code");
            if (pKnown->m_bDeleted) continue;
            Demand(pKnown->m_pTask->GetTaskState() == pKnown->m_State, "a state");
            if (pKnown->m_bQueued && pKnown->m_State == NBI_TASK_IDLE) ++nIdle;
        }
        const PoolSnapshot snapshot = m_pPool->TakeSnapshot();
        Demand(snapshot.m_nQueued == nIdle, "how many are queued");
        Demand(snapshot.m_nPushed == m_nPushed, "how many were pushed");
        const auto refused = snapshot.m_Refused.find(ErrCode::TASK_NOT_IDLE);
        Demand((refused == snapshot.m_Refused.end() ? 0 : refused->second) == m_nRefused,
               "how many were refused");
    }

    static unsigned long CodeOf(AD& done)
    {
        try {
            done.Wait();
            return 0;
        } catch (ProcessException& failure) {
            return failure.GetErrorCode();
        }
    }

    std::unique_ptr<NBITaskMgr> m_pPool = std::make_unique<NBITaskMgr>(7);
    std::vector<std::unique_ptr<Known>> m_Tasks;
    std::vector<Known*> m_Order;  // the pool's, in the order of their pushes
    std::uint64_t m_nTokens = 0;
    std::uint64_t m_nPushed = 0;
    std::uint64_t m_nRefused = 0;
};

void RunSequence(const std::uint8_t* pData, std::size_t nSize, bool bExit)
{
    nbitest::FuzzInput input(pData, std::min<std::size_t>(nSize, 512));
    Pool pool;
    while (!input.IsEmpty()) pool.Do(input);
    if (bExit) pool.Exit();
}

/// The exit flag belongs to the process, and stays: in a child.
void RunWithExit(const std::uint8_t* pData, std::size_t nSize)
{
    const pid_t nChild = fork();
    if (nChild == 0) {
        RunSequence(pData, nSize, true);
        _exit(0);
    }
    int nStatus = 0;
    pid_t nEnded = -1;
    do {
        nEnded = waitpid(nChild, &nStatus, 0);
    } while (nEnded < 0 && errno == EINTR);  // the fuzzer's own clock
    Demand(nChild > 0 && nEnded == nChild && nStatus == 0, "the exit");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    static nbitest::RecordingHost host;
    host.KeepLogs(false);
    if (nSize > 0 && pData[0] == 0xFF) {
        RunWithExit(pData + 1, nSize - 1);
    } else {
        RunSequence(pData, nSize, false);
    }
    return 0;
}
