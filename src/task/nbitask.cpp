#include "nbiutil/nbitask.h"

#include "base/lockguard.h"
#include "base/probe.h"
#include "context/taskcontext.h"
#include "log/log.h"
#include "nbiutil/errcode.h"
#include "nbiutil/processexception.h"
#include "task/taskqueue.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "nbitask";
constexpr SourceMark BODY_FAILED{MODULE, 140};

void LogFailure(const ProcessException& failure)
{
    const std::string file = failure.GetFile();
    const std::string function = failure.GetFunction();
    const std::string message = failure.GetMessage();
    WriteLog(SourceMark{file.c_str(), failure.GetLine(), function.c_str()}, "%s", message.c_str());
}

/// For the steps that copy an exception's texts: without memory for them, code and wake-up still reach the
/// caller.
template <class Step>
void Attempt(Step step) noexcept
{
    try {
        step();
    } catch (...) {
        // Deliberate: nothing to report with. No exception leaves the frame of a task.
    }
}

}  // namespace

DBAgent::DBAgent(const std::string& name, int nMaxHugeTasks)
    : m_AgentName(name), m_nHugeTaskMax(nMaxHugeTasks)
{
}

bool DBAgent::IncreaseHugeTask()
{
    MutexGuard guard(m_AgentLock);
    if (m_nHugeTaskCount >= m_nHugeTaskMax) return false;
    ++m_nHugeTaskCount;
    return true;
}

bool DBAgent::DecreaseHugeTask()
{
    MutexGuard guard(m_AgentLock);
    if (m_nHugeTaskCount <= 0) return false;
    --m_nHugeTaskCount;
    return true;
}

NBITask::NBITask(DBAgent& agent, bool bFlag, AD& ad)
    : m_bFlag(bFlag), m_Agent(agent), m_pStoredContext(TaskContext::Share()), m_Descriptor(ad)
{
}

NBITask::~NBITask() = default;

void NBITask::Init()
{
}

void NBITask::Complete()
{
    m_Descriptor.SetErrorCode(0);
    m_Descriptor.Awake();
    SetTaskState(NBI_TASK_FINISHED);
}

void NBITask::Run()
{
    // A handle of the frame's own: once the state is finished, only the hold keeps the task from being
    // deleted.
    AD descriptor(m_Descriptor);
    const bool bHeldHere = TaskQueue::Hold(*this);
    NBI_PROBE(run_begin, this);
    RunGuarded(descriptor);
    NBI_PROBE(run_end, this);
    if (bHeldHere) TaskQueue::Release(*this);
}

void NBITask::RunGuarded(AD& descriptor)
{
    try {
        TaskContext::Install(m_pStoredContext);
        Init();
        Execute();
        Complete();
    } catch (const ProcessException& failure) {
        TaskQueue::MarkFailed(*this);
        Attempt([&failure] { LogFailure(failure); });
        descriptor.SetErrorCode(failure.GetErrorCode());
        Attempt([&] { descriptor.SetErrorInfo(failure.GetErrorInfo()); });
        Finish(descriptor);
    } catch (...) {
        TaskQueue::MarkFailed(*this);
        WriteLog(BODY_FAILED, "There's an error in NBITask::Run");
        descriptor.SetErrorCode(ErrCode::TASK_BODY_FAILED);
        Finish(descriptor);
    }
}

void NBITask::Finish(AD& descriptor)
{
    descriptor.Awake();
    SetTaskState(NBI_TASK_FINISHED);
}

void NBITask::Awake()
{
    m_Descriptor.Awake();
}

NBI_TASK_STATE NBITask::GetTaskState()
{
    return TaskQueue::StateOf(*this);
}

void NBITask::SetTaskState(NBI_TASK_STATE state)
{
    TaskQueue::SetState(*this, state);
}

std::string NBITask::GetAgentType()
{
    return m_Agent.GetAgentName();
}

int NBITask::GetTaskMode()
{
    return TaskContext::TaskModeOf(*m_pStoredContext);
}

ThreadContextInfo NBITask::GetThreadInfo()
{
    return TaskContext::CopyOf(*m_pStoredContext);
}

}  // namespace NS_UTIL
