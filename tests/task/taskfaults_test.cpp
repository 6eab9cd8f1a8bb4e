// Single faults in descriptors, tasks, pools, the book of huge tasks and futures.
#include <list>
#include <map>
#include <string>
#include <vector>

#include "nbiutil/async.h"
#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/poolsnapshot.h"
#include "support/eventually.h"
#include "support/recordingfaults.h"
#include "support/tasks.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

const std::string LONG(40, 'x');  // too long to lie inside its object
const std::string NOT_RUN = "code " + std::to_string(ErrCode::POOL_DESTROYED);  // of a future
const std::string BODY_FAILED = "code " + std::to_string(ErrCode::TASK_BODY_FAILED);

/// What pools are made with: two workers. Furniture that is made on first use is made.
void PrepareHost()
{
    FaultHost().SetInt("TaskMgrMaxThreadNum", 2);
    TestAgent();
}

/// Runs a task in the pool \p nNumber.
std::string RunIn(unsigned int nNumber)
{
    AD done;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(done), nNumber);
    done.Wait();
    return "done";
}

std::size_t InBook()
{
    std::map<std::string, std::list<std::string>> book;
    HugeTaskMgr::Instance()->GetHuTaskMap(book);
    std::size_t nTasks = 0;
    for (const auto& entry : book) nTasks += entry.second.size();
    return nTasks;
}

/// After a fault the pool goes on as ever, and ends in order.
void ExpectPoolWorks(Faults& faults, unsigned int nNumber)
{
    for (int i = 0; i < 3; ++i) faults.Expect(RunIn(nNumber) == "done", "the pool does not work any more");
    faults.Expect(
        nNumber != 2 || Eventually([] { return InBook() == 0 && TaskPoolMgr::GetHugeTaskNum() == 0; }),
        "a task stays in the book");
    TaskPoolMgr::ShutDown();
}

std::string RunThree(Faults& faults, unsigned int nNumber)
{
    PrepareHost();
    TaskPoolMgr::Init(4);
    ServeRequest("interface", {4, 1, 0, "manager"});
    const std::string result = faults.During([nNumber] {
        for (int i = 0; i < 3; ++i) RunIn(nNumber);
        return "three done";
    });
    ExpectPoolWorks(faults, nNumber);
    return result;
}

class Nothing : public Functor {
public:
    void operator()() override { ++m_nCalls; }
    int m_nCalls = 0;
};

const std::vector<Scenario> SCENARIOS = {
    {"AD::AD AD::Bind AD::CallBack AD::SetErrorCode AD::SetErrorInfo AD::Awake AD::IsFinished AD::operator=",
     [] {
         AD done;
         Nothing functor;
         done.Bind(&functor);
         done.SetErrorCode(7);
         done.SetErrorInfo(LONG);
         AD copy;
         copy = done;
         copy.Awake();
         done.CallBack();
         return done.IsFinished() ? functor.m_nCalls : -1;
     }},
    {"AD::Wait AD::GetErrorCode AD::WaitToComplete",
     [] {
         AD done;
         done.SetErrorInfo(LONG);
         done.Awake();
         done.Wait();
         done.WaitToComplete();
         return done.GetErrorCode();
     }},
    {"AD::Wait AD::WaitToComplete",
     [](Faults& faults) {
         PrepareHost();
         const std::string result = faults.During([] {
             AD first;
             AD second;
             TaskPoolMgr::PushTask(TestAgent(), new TestTask(first), 0);
             TaskPoolMgr::PushTask(
                 TestAgent(), new TestTask(second, [] { throw ProcessException(5, LONG, "", "", 0); }), 0);
             while (!first.IsFinished()) first.WaitToComplete();
             second.Wait();
             return "no failure";
         });
         ExpectPoolWorks(faults, 0);
         return result;
     },
     {BODY_FAILED},
     WITH_THREADS},
    {"DBAgent::DBAgent DBAgent::IncreaseHugeTask DBAgent::DecreaseHugeTask",
     [] {
         DBAgent agent(LONG, 1);
         return agent.IncreaseHugeTask() && !agent.IncreaseHugeTask() && agent.DecreaseHugeTask();
     }},
    {"NBITask::NBITask NBITask::Init NBITask::Run NBITask::Complete NBITask::GetTaskState "
     "NBITask::SetTaskState "
     "NBITask::GetAgentType NBITask::GetTaskMode NBITask::GetThreadInfo NBITask::Awake",
     [](Faults& faults) {
         PrepareHost();
         ServeRequest(LONG, {1, 2, 3, "manager"});
         AD done;
         const std::string result = faults.During([&] {
             TestTask task(done);
             task.Run();
             task.SetTaskState(NBI_TASK_FINISHED);
             const std::string name = task.GetAgentType() + task.GetThreadInfo().GetInterfaceName();
             done.Wait();
             task.Awake();
             return name + std::to_string(task.GetTaskMode()) + std::to_string(task.GetTaskState());
         });
         faults.Expect(TestTask::Alive() == 0, "a task is left");
         return result;
     },
     {BODY_FAILED}},
    {"NBITask::Run",
     [](Faults& faults) {
         PrepareHost();
         return faults.During([] {
             AD done;
             TestTask task(done, [] { throw ProcessException(5, LONG, LONG, "file", "function", 1); });
             task.Run();
             done.Wait();
             return "no failure";
         });
     },
     {BODY_FAILED}},
    {"NBITaskMgr::NBITaskMgr NBITaskMgr::PushTask NBITaskMgr::AcquireIdleTask NBITaskMgr::CountRefused "
     "NBITaskMgr::TakeSnapshot NBITaskMgr::close",
     [](Faults& faults) {
         PrepareHost();
         const std::string result = faults.During([] {
             AD done;
             NBITaskMgr pool(7);
             pool.PushTask(new TestTask(done));
             NBITask* const pTask = pool.AcquireIdleTask();
             pTask->Run();
             done.Wait();
             pool.CountRefused(4711);
             pool.PushTask(new TestTask(done));
             pool.close(0);
             return pool.TakeSnapshot().m_nPushed;
         });
         faults.Expect(TestTask::Alive() == 0, "a task is left");
         return result;
     },
     {BODY_FAILED}},
    {"NBITaskMgr::PushTask",
     [](Faults& faults) {
         PrepareHost();
         const std::string result = faults.During([] {
             AD done;
             NBITaskMgr pool(7);
             auto* const pTask = new TestTask(done);
             pTask->SetTaskState(NBI_TASK_BUSY);
             pool.PushTask(pTask);
             return "taken";
         });
         faults.Expect(TestTask::Alive() == 0, "a refused task is left");
         return result;
     }},
    {"NBITaskMgr::GetTaskMgr NBITaskMgr::open NBITaskMgr::svc TaskPoolMgr::PushTask TaskPoolMgr::ShutDown",
     [](Faults& faults) { return RunThree(faults, 0); },
     {BODY_FAILED},
     WITH_THREADS},
    {"TaskPoolMgr::Init TaskPoolMgr::PushTask TaskPoolMgr::GetHugeTaskNum",
     [](Faults& faults) { return RunThree(faults, 2); },
     {BODY_FAILED},
     WITH_THREADS},
    {"TaskPoolMgr::PushTask",
     [](Faults& faults) {
         PrepareHost();
         TaskPoolMgr::Init(0);
         ServeRequest("interface", {1, 1, 0, "manager"});
         const std::string result = faults.During([] { return RunIn(2); });
         faults.Expect(TestTask::Alive() == 0, "a refused task is left");
         TaskPoolMgr::ShutDown();
         return result;
     },
     {},
     WITH_THREADS},
    {"TaskPoolMgr::PushTask",
     [](Faults& faults) {
         PrepareHost();
         const std::string result = faults.During([] { return RunIn(0); });
         faults.Expect(NBITaskMgr::TaskMgrExisted(0) || TestTask::Alive() == 0,
                       "a task is left that no pool took");
         ExpectPoolWorks(faults, 0);
         return result;
     },
     {BODY_FAILED},
     WITH_THREADS},
    {"TaskPoolMgr::PushTask",
     [](Faults& faults) {
         PrepareHost();
         AD done;
         NBITaskMgr owner(7);
         auto* const pOwned = new TestTask(done);
         owner.PushTask(pOwned);
         const std::string result = faults.During([pOwned] {
             TaskPoolMgr::PushTask(TestAgent(), pOwned, 0);
             return "taken";
         });
         faults.Expect(TestTask::Alive() == 1 && owner.AcquireIdleTask() == pOwned, "an owned task is gone");
         ExpectPoolWorks(faults, 0);
         return result;
     },
     {},
     WITH_THREADS},
    {"NBITaskMgr::SetExitFlag NBITaskMgr::~NBITaskMgr",
     [](Faults& faults) {
         PrepareHost();
         const std::string result = faults.During([] {
             NBITaskMgr pool(7);
             const int nOpened = pool.open();
             AD done;
             pool.PushTask(new TestTask(done));
             done.Wait();
             pool.SetExitFlag();
             return nOpened;
         });
         faults.Expect(TestTask::Alive() == 0, "a task is left");
         return result;
     },
     {"-1", BODY_FAILED},
     WITH_THREADS},
    {"NBITaskMgr::TaskMgrExisted NBITaskMgr::GetAllTaskMgrId NBITaskMgr::Destroy "
     "NBITaskMgr::SetThreadNamePrefix",
     [] {
         std::vector<unsigned int> ids;
         NBITaskMgr::GetAllTaskMgrId(ids);
         NBITaskMgr::SetThreadNamePrefix(LONG);
         NBITaskMgr::Destroy();
         return ids.size() + (NBITaskMgr::TaskMgrExisted(7) ? 1 : 0);
     }},
    {"TakePoolSnapshot TakePoolSnapshots TakeProcessSnapshot",
     [](Faults& faults) {
         PrepareHost();
         RunIn(0);
         const std::string result = faults.During([] {
             return TakePoolSnapshots().size() + TakePoolSnapshot(0).m_nPushed +
                    TakeProcessSnapshot().m_nWaiting;
         });
         ExpectPoolWorks(faults, 0);
         return result;
     },
     {},
     WITH_THREADS},
    {"HugeTaskMgr::Instance HugeTaskMgr::Destroy",
     [] {
         const bool bThere = HugeTaskMgr::Instance() != nullptr;
         HugeTaskMgr::Destroy();
         return bThere;
     },
     {"false"}},
    {"HugeTaskMgr::Init HugeTaskMgr::SetHTskInfo HugeTaskMgr::RemoveHTskInfo HugeTaskMgr::GetHTskNum "
     "HugeTaskMgr::GetHTskMax HugeTaskMgr::GetHuTaskMap HugeTaskMgr::IsOverHTaskNum "
     "HugeTaskMgr::IsOverSingleHTaskNum "
     "HugeTaskMgr::IsSynHTsk HugeTaskMgr::IsAynHTsk",
     [](Faults& faults) {
         PrepareHost();
         ServeRequest("interface", {1, 1, 0, "manager"});
         ThreadContextInfo info = ThreadContextMgr::Instance()->GetThreadContext();
         HugeTaskMgr& book = *HugeTaskMgr::Instance();
         const std::string result = faults.During([&] {
             book.Init(1);
             book.SetHTskInfo(info);
             const bool bOver = book.IsOverHTaskNum() && !book.IsOverSingleHTaskNum();
             const bool bType = book.IsSynHTsk() || book.IsAynHTsk();
             const std::size_t nEntered = InBook();
             book.RemoveHTskInfo(info);
             return std::to_string(nEntered) + (bOver ? " over" : "") + (bType ? " typed" : "");
         });
         faults.Expect(book.GetHTskNum() == InBook() && book.GetHTskMax() == 1, "count and book differ");
         return result;
     }},
    {"Submit TrySubmit QueuedTasks",
     [](Faults& faults) {
         PrepareHost();
         const std::string result = faults.During([] {
             auto first = Submit(0, TestAgent(), [] { return 1; });
             auto second = TrySubmit(5, 0, TestAgent(), [] { return 2; });
             return first.Get() + second.Get();
         });
         ExpectPoolWorks(faults, 0);
         faults.Expect(QueuedTasks(0) == 0, "a place in the queue is lost");
         return result;
     },
     {BODY_FAILED, NOT_RUN},
     WITH_THREADS},
};

}  // namespace
}  // namespace NS_UTIL

NBI_SINGLE_FAULTS(NS_UTIL::SCENARIOS)
