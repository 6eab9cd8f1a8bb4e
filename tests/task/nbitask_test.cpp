#include "nbiutil/nbitask.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "nbiutil/errcode.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextmgr.h"
#include "support/condwaits.h"
#include "support/heapwatch.h"
#include "support/lockfailure.h"
#include "support/recordinghost.h"
#include "support/tasks.h"
#include "support/vtable.h"

namespace NS_UTIL {
namespace {

using nbitest::Action;
using nbitest::AllocationLimit;
using nbitest::CanFailLocks;
using nbitest::DeleteCounter;
using nbitest::ExpectDestructorAt;
using nbitest::FailingLocks;
using nbitest::LockKind;
using nbitest::LogLine;
using nbitest::NextWait;
using nbitest::NO_FAILING_LOCKS;
using nbitest::RecordingHost;
using nbitest::ServeRequest;
using nbitest::Signal;
using nbitest::Sleeper;
using nbitest::SlotOf;
using nbitest::TestAgent;
using nbitest::TestTask;
using nbitest::WaitUntil;
using Calls = std::vector<std::string>;

constexpr int STOPPING = 2;
constexpr const char* OTHER_EXCEPTION = "There's an error in NBITask::Run";

/// The part of a task's life in which a test does something.
enum class Stage { INIT, EXECUTE, COMPLETE, AFTER_COMPLETE };

/// A task that notes the calls it gets and does what a test wants at one of its stages.
class StagedTask : public NBITask {
public:
    explicit StagedTask(AD& ad, Stage stage = Stage::EXECUTE, Action action = {})
        : NBITask(TestAgent(), true, ad), m_Stage(stage), m_Action(std::move(action))
    {
    }
    void Init() override { Reach(Stage::INIT, "Init"); }
    void Execute() override { Reach(Stage::EXECUTE, "Execute"); }
    void Complete() override
    {
        Reach(Stage::COMPLETE, "Complete");
        NBITask::Complete();
        if (m_Stage == Stage::AFTER_COMPLETE) m_Action();
    }
    using NBITask::GetAgent;
    using NBITask::GetDescriptor;
    using NBITask::GetFlag;

    Calls m_Calls;

private:
    void Reach(Stage stage, const char* pName)
    {
        m_Calls.emplace_back(pName);
        if (m_Stage == stage && m_Action) m_Action();
    }

    Stage m_Stage;
    Action m_Action;
};

/// What a failed task has left in a descriptor: "<code> <info>".
std::string OutcomeOf(AD& ad)
{
    try {
        ad.Wait();
    } catch (ProcessException& failure) {
        return failure.MessageStream().str();
    }
    return "success";
}

class NBITaskTest : public ::testing::Test {
protected:
    NBITaskTest() { ServeRequest("interface"); }

    /// The stored code, whatever the state.
    unsigned long StoredCode(AD& ad)
    {
        m_Host.SetState(STOPPING);
        const unsigned long nCode = ad.GetErrorCode();
        m_Host.SetState(0);
        return nCode;
    }

    RecordingHost m_Host;
    AD m_AD;
};

TEST_F(NBITaskTest, SlotsAreDestructorInitExecuteComplete)
{
    class Probe : public NBITask, public DeleteCounter {
    public:
        Probe() : Probe(AD()) {}
        explicit Probe(AD&& ad) : NBITask(TestAgent(), false, ad) {}
        void Execute() override {}
        virtual void Next() {}
    };
    ExpectDestructorAt<Probe>(0);
    EXPECT_EQ(SlotOf(&NBITask::Init), 2u);
    EXPECT_EQ(SlotOf(&NBITask::Execute), 3u);
    EXPECT_EQ(SlotOf(&NBITask::Complete), 4u);
    EXPECT_EQ(SlotOf(&Probe::Next), 5u) << "there are no more";
}

TEST_F(NBITaskTest, StatesHaveTheirFixedNumbers)
{
    static_assert(sizeof(NBI_TASK_STATE) == 4);
    EXPECT_EQ(NBI_TASK_IDLE, 0);
    EXPECT_EQ(NBI_TASK_BUSY, 1);
    EXPECT_EQ(NBI_TASK_FINISHED, 2);
}

// Construction

TEST_F(NBITaskTest, NewTaskIsIdleAndRefersToItsAgent)
{
    static_assert(!std::is_copy_constructible_v<StagedTask>);
    static_assert(std::is_abstract_v<NBITask>);
    StagedTask task(m_AD);
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_IDLE);
    EXPECT_EQ(task.GetAgentType(), "agent");
    EXPECT_EQ(&task.GetAgent(), &TestAgent());
    EXPECT_TRUE(task.GetFlag());
    EXPECT_FALSE(m_AD.IsFinished());
    EXPECT_TRUE(task.m_Calls.empty());
}

TEST_F(NBITaskTest, TaskSharesTheCallersDescriptor)
{
    auto pCaller = std::make_unique<AD>();
    StagedTask task(*pCaller);
    AD other(*pCaller);
    pCaller.reset();
    task.GetDescriptor().SetErrorCode(3);
    EXPECT_EQ(StoredCode(other), 3u) << "the handle that was given may go";
}

TEST_F(NBITaskTest, DescriptorOutlivesTheTask)
{
    auto pTask = std::make_unique<StagedTask>(m_AD);
    pTask->Run();
    pTask.reset();
    EXPECT_EQ(OutcomeOf(m_AD), "success");
}

TEST_F(NBITaskTest, TaskTakesTheContextOfTheThreadThatMadeIt)
{
    const std::string uuid = ServeRequest("mine", {5, 1, -1, "manager"});
    StagedTask task(m_AD);
    ServeRequest("another", {6, 0, 0, "other"});
    const ThreadContextInfo info = task.GetThreadInfo();
    EXPECT_EQ(info.GetInterfaceName(), "mine");
    EXPECT_EQ(info.GetOperUUID(), uuid);
    EXPECT_EQ(info.GetTskNum(), 5);
    EXPECT_EQ(info.GetTskMode(), 1);
    EXPECT_EQ(info.GetTskType(), -1);
    EXPECT_EQ(info.GetTskMgr(), "manager");
    EXPECT_EQ(task.GetTaskMode(), 1);
}

TEST_F(NBITaskTest, TaskOfAThreadWithoutARequestHasAUUIDOfItsOwn)
{
    std::thread([this] {
        StagedTask task(m_AD);
        StagedTask other(m_AD);
        EXPECT_EQ(task.GetThreadInfo().GetInterfaceName(), "");
        EXPECT_EQ(task.GetTaskMode(), 0);
        EXPECT_NE(task.GetThreadInfo().GetOperUUID(), "");
        EXPECT_EQ(task.GetThreadInfo().GetOperUUID(), task.GetThreadInfo().GetOperUUID());
        EXPECT_NE(task.GetThreadInfo().GetOperUUID(), other.GetThreadInfo().GetOperUUID());
    }).join();
}

TEST_F(NBITaskTest, WithoutARegistryATaskHasTheDefaultContext)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ThreadContextMgr::Destroy();
    const FailingLocks failing(LockKind::MUTEX, 1);
    StagedTask task(m_AD);
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_EQ(task.GetThreadInfo(), ThreadContextInfo());
}

TEST_F(NBITaskTest, ThreadInfoIsACopy)
{
    StagedTask task(m_AD);
    task.GetThreadInfo().SetInterfaceName("changed");
    EXPECT_EQ(task.GetThreadInfo().GetInterfaceName(), "interface");
}

TEST_F(NBITaskTest, StateIsWhatWasSet)
{
    StagedTask task(m_AD);
    for (const NBI_TASK_STATE state : {NBI_TASK_BUSY, NBI_TASK_FINISHED, NBI_TASK_IDLE}) {
        task.SetTaskState(state);
        EXPECT_EQ(task.GetTaskState(), state);
    }
    EXPECT_FALSE(m_AD.IsFinished());
}

TEST_F(NBITaskTest, TaskAnswersWhenALockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ServeRequest("mine", {5, 1, -1, "manager"});
    StagedTask task(m_AD);
    for (int nCall = 0; nCall < 4; ++nCall) {
        const FailingLocks failing(LockKind::MUTEX);
        task.SetTaskState(NBI_TASK_BUSY);
        EXPECT_EQ(task.GetTaskState(), NBI_TASK_BUSY);
        EXPECT_EQ(task.GetTaskMode(), 1);
        EXPECT_EQ(task.GetThreadInfo().GetInterfaceName(), "mine");
    }
}

TEST_F(NBITaskTest, AwakeWakesAndTouchesNeitherCodeNorState)
{
    StagedTask task(m_AD);
    m_AD.SetErrorCode(4);
    task.SetTaskState(NBI_TASK_BUSY);
    task.Awake();
    EXPECT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:4,Detail:");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_BUSY);
}

// Run, successful

TEST_F(NBITaskTest, RunCallsInitExecuteComplete)
{
    StagedTask task(m_AD);
    task.Run();
    EXPECT_EQ(task.m_Calls, (Calls{"Init", "Execute", "Complete"}));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(NBITaskTest, BodyThatReturnsLeavesCodeZeroAndAFinishedTask)
{
    TestTask task(m_AD);
    task.Run();
    EXPECT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(StoredCode(m_AD), 0u);
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

TEST_F(NBITaskTest, CompleteReplacesAPresetCode)
{
    m_AD.SetErrorCode(99);
    m_AD.SetErrorInfo("preset");
    TestTask task(m_AD);
    task.Run();
    EXPECT_EQ(OutcomeOf(m_AD), "success");
}

TEST_F(NBITaskTest, CompleteByItselfDoesTheSame)
{
    m_AD.SetErrorCode(99);
    TestTask task(m_AD);
    task.Complete();
    EXPECT_EQ(OutcomeOf(m_AD), "success");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

TEST_F(NBITaskTest, WakingIsCompletesJobAndNotRuns)
{
    class Probe : public TestTask {
    public:
        using TestTask::TestTask;
        void Complete() override {}
    };
    Probe task(m_AD);
    task.SetTaskState(NBI_TASK_BUSY);
    task.Run();
    EXPECT_FALSE(m_AD.IsFinished());
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_BUSY);
}

TEST_F(NBITaskTest, ContextOfTheTaskIsInstalledOnTheThreadThatRunsIt)
{
    const std::string uuid = ServeRequest("mine", {5, 1, -1, "manager"});
    for (const Stage stage : {Stage::INIT, Stage::EXECUTE, Stage::COMPLETE}) {
        ThreadContextInfo seen;
        StagedTask task(m_AD, stage, [&seen] { seen = ThreadContextMgr::Instance()->GetThreadContext(); });
        std::thread([&task] { task.Run(); }).join();
        EXPECT_EQ(seen, task.GetThreadInfo());
        EXPECT_EQ(seen.GetOperUUID(), uuid);
        EXPECT_EQ(seen.GetTskNum(), 5);
        EXPECT_EQ(seen.GetTskMode(), 1);
        EXPECT_EQ(seen.GetTskType(), -1);
        EXPECT_EQ(seen.GetTskMgr(), "manager");
    }
}

TEST_F(NBITaskTest, ContextStaysOnTheThreadAfterTheRun)
{
    const std::string uuid = ServeRequest("mine");
    TestTask task(m_AD);
    std::thread([&task, &uuid] {
        ServeRequest("the worker's own");
        task.Run();
        EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetInterfaceName(), "mine");
        EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID(), uuid);
    }).join();
}

TEST_F(NBITaskTest, TaskIsFinishedOnlyAfterItsDescriptorIsWokenWithItsCode)
{
    for (int i = 0; i < 300; ++i) {
        AD ad;
        ad.SetErrorCode(99);
        const bool bFails = i % 2 != 0;
        TestTask task(ad, [bFails] {
            if (bFails) throw ProcessException(7, "", "info", "file", "function", 1);
        });
        std::thread worker([&task] { task.Run(); });
        while (task.GetTaskState() != NBI_TASK_FINISHED) std::this_thread::yield();
        EXPECT_TRUE(ad.IsFinished());
        EXPECT_EQ(OutcomeOf(ad), bFails ? "ErrCode:7,Detail:info" : "success");
        worker.join();
    }
}

TEST_F(NBITaskTest, TaskIsNotFinishedWhileItsDescriptorCannotBeWoken)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    struct Case {
        Action m_Fail;
        int m_nLocksBeforeTheWakeUp;  // those of the log call, the code and the info
    };
    m_Host.RegisterForeignService(true);  // a log call takes one lock, looking the service up
    const std::vector<Case> cases{{[] {}, 1},
                                  {[] { throw ProcessException(7, "", "info", "file", "function", 1); }, 3},
                                  {[] { throw 42; }, 2}};
    for (const Case& given : cases) {
        AD ad;
        std::optional<FailingLocks> failing;
        TestTask task(ad, [&] {
            failing.emplace(LockKind::MUTEX, given.m_nLocksBeforeTheWakeUp);
            given.m_Fail();
        });
        std::optional<Sleeper> worker;
        {
            const NextWait wait([&] {  // with the descriptor's lock held
                worker.emplace([&task] { task.Run(); });
                EXPECT_FALSE(worker->IsDone());
                EXPECT_EQ(task.GetTaskState(), NBI_TASK_IDLE);
            });
            ad.WaitToComplete();
        }
        worker->Join();
        EXPECT_TRUE(ad.IsFinished());
        EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    }
}

// Run, failed

TEST_F(NBITaskTest, ProcessExceptionBecomesCodeAndErrorInfoAndALogLine)
{
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:5,Detail:info") << "the info and not the message";
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"file", "function", 12, 1, "ErrCode:5,Detail:message"}}));
}

TEST_F(NBITaskTest, EmptyErrorInfoReplacesOneThatWasThere)
{
    m_AD.SetErrorInfo("preset");
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:5,Detail:");
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_nLine, 12);
}

TEST_F(NBITaskTest, ExceptionThatWasWrittenThroughItsStreamsCountsAsWritten)
{
    TestTask task(m_AD, [] {
        ProcessException exception;
        exception.SetErrorCode(8);
        exception.SetLine(9);
        exception.FileStream() << "file";
        exception.FunctionStream() << "function";
        exception.ErrorInfoStream() << "info " << 1;
        exception.MessageStream() << "message " << 2;
        throw ProcessException(exception);
    });
    task.Run();
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:8,Detail:info 1");
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"file", "function", 9, 1, "message 2"}}));
}

TEST_F(NBITaskTest, ExceptionWithCodeZeroReachesTheCallerAsSuccess)
{
    m_AD.SetErrorCode(99);
    TestTask task(m_AD, [] { throw ProcessException(); });
    task.Run();
    EXPECT_EQ(OutcomeOf(m_AD), "success");
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"", "", 0, 1, ""}}));
}

TEST_F(NBITaskTest, FormatCharactersOfAnExceptionAreLoggedAsText)
{
    TestTask task(m_AD, [] { throw ProcessException(5, "%s%n%d %", "%s%n", "f%s", "g%n", 12); });
    task.Run();
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"f%s", "g%n", 12, 1, "ErrCode:5,Detail:%s%n%d %"}}));
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:5,Detail:%s%n");
}

TEST_F(NBITaskTest, AnyOtherExceptionGivesItsFixedCodeAndLeavesTheInfo)
{
    m_AD.SetErrorInfo("preset");
    TestTask task(m_AD, [] { throw 42; });
    task.Run();
    EXPECT_EQ(StoredCode(m_AD), 0x411802BCu);
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:1092092604,Detail:preset");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"nbitask", "unknown", 140, 1, OTHER_EXCEPTION}}));
}

TEST_F(NBITaskTest, InitThatThrowsKeepsTheBodyFromRunning)
{
    StagedTask task(m_AD, Stage::INIT,
                    [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(task.m_Calls, (Calls{"Init"}));
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:5,Detail:info");
}

TEST_F(NBITaskTest, BodyThatThrowsIsNotCompleted)
{
    StagedTask task(m_AD, Stage::EXECUTE, [] { throw std::runtime_error("x"); });
    task.Run();
    EXPECT_EQ(task.m_Calls, (Calls{"Init", "Execute"}));
}

TEST_F(NBITaskTest, OutcomeIsTheSameWithoutALogService)
{
    m_Host.RegisterLogService(false);
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:5,Detail:info");
    AD other;
    TestTask otherTask(other, [] { throw 42; });
    otherTask.Run();
    EXPECT_EQ(OutcomeOf(other), "ErrCode:1092092604,Detail:");
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(NBITaskTest, OutcomeIsTheSameWithALogServiceThatFails)
{
    m_Host.FailLogCalls(true);
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    EXPECT_NO_THROW(task.Run());
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:5,Detail:info");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

TEST_F(NBITaskTest, CodeReachesTheCallerWhenThereIsNoMemoryForTheTexts)
{
    static constexpr std::size_t LONG = 100000;
    std::optional<AllocationLimit> limit;
    TestTask task(m_AD, [&limit] {
        class OnTheWayOut {
        public:
            explicit OnTheWayOut(std::optional<AllocationLimit>& limit) : m_Limit(limit) {}
            ~OnTheWayOut() { m_Limit.emplace(LONG / 2); }

        private:
            std::optional<AllocationLimit>& m_Limit;
        };
        const OnTheWayOut end(limit);
        throw ProcessException(5, std::string(LONG, 'm'), std::string(LONG, 'i'), "file", "function", 12);
    });
    EXPECT_NO_THROW(task.Run());
    ASSERT_TRUE(limit);
    EXPECT_GE(limit->Refused(), LONG);
    limit.reset();
    ASSERT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:5,Detail:");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

/// One exception of each kind, from each place.
struct Failure {
    const char* m_pName;
    void (*m_pThrow)();
    const char* m_pOutcome;  // as the caller sees it
};

struct ForeignException {
    std::string m_Text = "not derived from anything";
};

const Failure FAILURES[] = {
    {"ProcessException", [] { throw ProcessException(6, "m", "i", "file", "function", 12); },
     "ErrCode:6,Detail:i"},
    {"DerivedException", [] { throw InterfaceNotExistException(6, "m", "i", "file", "function", 12); },
     "ErrCode:6,Detail:i"},
    {"StandardException", [] { throw std::runtime_error("%s"); }, "ErrCode:1092092604,Detail:"},
    {"BadAlloc", [] { throw std::bad_alloc(); }, "ErrCode:1092092604,Detail:"},
    {"Integer", [] { throw 42; }, "ErrCode:1092092604,Detail:"},
    {"Text", [] { throw "text"; }, "ErrCode:1092092604,Detail:"},
    {"PointerToOne", [] { throw static_cast<ProcessException*>(nullptr); }, "ErrCode:1092092604,Detail:"},
    {"ForeignException", [] { throw ForeignException(); }, "ErrCode:1092092604,Detail:"},
};

class NBITaskFailureTest : public NBITaskTest,
                           public ::testing::WithParamInterface<std::tuple<Stage, Failure>> {
protected:
    Stage GetStage() const { return std::get<0>(GetParam()); }
    const Failure& GetFailure() const { return std::get<1>(GetParam()); }

    void ExpectOneLine() const
    {
        const bool bOther = std::string(GetFailure().m_pOutcome) != "ErrCode:6,Detail:i";
        const LogLine expected = bOther ? LogLine{"nbitask", "unknown", 140, 1, OTHER_EXCEPTION}
                                        : LogLine{"file", "function", 12, 1, "ErrCode:6,Detail:m"};
        EXPECT_EQ(m_Host.Logs(), std::vector<LogLine>{expected});
    }
};

TEST_P(NBITaskFailureTest, NoExceptionLeavesRun)
{
    StagedTask task(m_AD, GetStage(), GetFailure().m_pThrow);
    EXPECT_NO_THROW(task.Run());
    EXPECT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    ExpectOneLine();
    const bool bWasWokenBefore = GetStage() == Stage::AFTER_COMPLETE;
    EXPECT_EQ(OutcomeOf(m_AD), bWasWokenBefore ? "success" : GetFailure().m_pOutcome);
}

std::string NameOf(const ::testing::TestParamInfo<std::tuple<Stage, Failure>>& info)
{
    static const char* const STAGES[] = {"Init", "Execute", "Complete", "FinishedComplete"};
    return std::string(std::get<1>(info.param).m_pName) + "From" +
           STAGES[static_cast<int>(std::get<0>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(Kinds, NBITaskFailureTest,
                         ::testing::Combine(::testing::Values(Stage::INIT, Stage::EXECUTE, Stage::COMPLETE,
                                                              Stage::AFTER_COMPLETE),
                                            ::testing::ValuesIn(FAILURES)),
                         NameOf);

// In a pool

class NBITaskInPoolTest : public NBITaskTest {
protected:
    NBITaskInPoolTest()
    {
        m_Host.SetInt("TaskMgrMaxThreadNum", 2);
        m_pPool = std::make_unique<NBITaskMgr>();
        m_pPool->open(nullptr);
    }

    /// A task that has come and gone: a worker has looked for finished tasks since.
    void PassTask()
    {
        AD ad;
        m_pPool->PushTask(new TestTask(ad));
        ad.Wait();
    }

    std::unique_ptr<NBITaskMgr> m_pPool;
};

TEST_F(NBITaskInPoolTest, TaskThatIsFinishedLivesUntilItsRunIsOver)
{
    class Probe : public TestTask {
    public:
        Probe(AD& ad, Action afterFinish, Action gone)
            : TestTask(ad, {}, std::move(gone)), m_AfterFinish(std::move(afterFinish))
        {
        }
        void Complete() override
        {
            TestTask::Complete();
            m_AfterFinish();
            throw ProcessException(5, m_Text, "file", "function", 12);
        }

    private:
        Action m_AfterFinish;
        std::string m_Text = std::string(100, 't');
    };
    Signal goOn;
    Signal gone;
    m_pPool->PushTask(new Probe(
        m_AD, [&goOn] { goOn.Wait(); }, [&gone] { gone.Set(); }));
    m_AD.Wait();
    for (int i = 0; i < 10; ++i) PassTask();  // by the other worker, which sweeps each time
    EXPECT_FALSE(gone.IsSet());
    goOn.Set();
    EXPECT_TRUE(WaitUntil([this] { return !m_Host.LogsAt("file", 12).empty(); }));
    EXPECT_TRUE(WaitUntil([this, &gone] {
        PassTask();
        return gone.IsSet();
    }));
    EXPECT_EQ(m_Host.LogsAt("file", 12).size(), 1u);
}

TEST_F(NBITaskInPoolTest, LinesOfAWorkerBelongToTheRequestThatMadeTheTask)
{
    const std::string uuid = ServeRequest("mine");
    std::string seen;
    m_pPool->PushTask(new TestTask(m_AD, [&seen] {
        seen = ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID();
        throw 42;
    }));
    EXPECT_EQ(OutcomeOf(m_AD), "ErrCode:1092092604,Detail:");
    EXPECT_EQ(seen, uuid);
    ASSERT_EQ(m_Host.LogsAt("nbitask", 140).size(), 1u);
    EXPECT_NE(m_Host.LogsAt("nbitask", 140)[0].m_nThread, static_cast<unsigned long>(pthread_self()));
}

// Agents

TEST(DBAgentTest, AgentKeepsNameAndMaximum)
{
    const std::string name("na\0me", 5);
    const DBAgent agent(name, 3);
    EXPECT_EQ(agent.GetAgentName(), name);
    EXPECT_EQ(agent.GetHugeTaskMaxnum(), 3);
    static_assert(std::is_same_v<decltype(agent.GetAgentName()), const std::string&>);
    static_assert(std::is_same_v<decltype(agent.GetHugeTaskMaxnum()), const int&>);
}

TEST(DBAgentTest, CountGoesUpToTheMaximum)
{
    DBAgent agent("a", 2);
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_FALSE(agent.IncreaseHugeTask());
    EXPECT_TRUE(agent.DecreaseHugeTask());
    EXPECT_TRUE(agent.IncreaseHugeTask()) << "a refused increase has counted nothing";
    EXPECT_FALSE(agent.IncreaseHugeTask());
}

TEST(DBAgentTest, CountDoesNotGoBelowZero)
{
    DBAgent agent("a", 1);
    EXPECT_FALSE(agent.DecreaseHugeTask());
    EXPECT_FALSE(agent.DecreaseHugeTask());
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_FALSE(agent.IncreaseHugeTask()) << "a refused decrease has counted nothing";
}

TEST(DBAgentTest, MaximumOfZeroOrLessLetsNothingIn)
{
    for (const int nMax : {0, -1, -2147483647 - 1}) {
        DBAgent agent("a", nMax);
        EXPECT_FALSE(agent.IncreaseHugeTask());
        EXPECT_FALSE(agent.DecreaseHugeTask());
        EXPECT_EQ(agent.GetHugeTaskMaxnum(), nMax);
    }
}

TEST(DBAgentTest, CountGoesOnWhenTheLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    DBAgent agent("a", 1);
    const FailingLocks failing(LockKind::MUTEX, 4);
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_FALSE(agent.IncreaseHugeTask());
    EXPECT_TRUE(agent.DecreaseHugeTask());
    EXPECT_FALSE(agent.DecreaseHugeTask());
    EXPECT_EQ(failing.Left(), 0);
}

TEST(DBAgentTest, EightThreadsNeverExceedTheMaximum)
{
    constexpr int THREADS = 8;
    constexpr int MAX = 1000;
    DBAgent agent("a", MAX);
    std::atomic<int> nIncreased{0};
    std::atomic<int> nDecreased{0};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < MAX; ++j) nIncreased += agent.IncreaseHugeTask() ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(nIncreased, MAX);
    threads.clear();
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < MAX; ++j) nDecreased += agent.DecreaseHugeTask() ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(nDecreased, MAX);
    EXPECT_FALSE(agent.DecreaseHugeTask());
}

}  // namespace
}  // namespace NS_UTIL
