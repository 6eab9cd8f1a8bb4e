/// \file
/// What the tests of a task's frame share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/processexception.h"
#include "support/tasks.h"

namespace nbitest {

using Calls = std::vector<std::string>;

constexpr const char* OTHER_EXCEPTION = "There's an error in NBITask::Run";

/// The part of a task's life in which a test does something.
enum class Stage { INIT, EXECUTE, COMPLETE, AFTER_COMPLETE };

/// A task that notes the calls it gets and does what a test wants at one of its stages.
class StagedTask : public NS_UTIL::NBITask {
public:
    explicit StagedTask(NS_UTIL::AD& ad, Stage stage = Stage::EXECUTE, Action action = {})
        : NS_UTIL::NBITask(TestAgent(), true, ad), m_Stage(stage), m_Action(std::move(action))
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
inline std::string HowItEnded(NS_UTIL::AD& ad)
{
    try {
        ad.Wait();
    } catch (NS_UTIL::ProcessException& failure) {
        return failure.MessageStream().str();
    }
    return "success";
}

class NBITaskTest : public ::testing::Test {
protected:
    static constexpr int STOPPING = 2;

    NBITaskTest() { ServeRequest("interface"); }

    /// The stored code, whatever the state.
    unsigned long StoredCode(NS_UTIL::AD& ad)
    {
        m_Host.SetState(STOPPING);
        const unsigned long nCode = ad.GetErrorCode();
        m_Host.SetState(0);
        return nCode;
    }

    RecordingHost m_Host;
    NS_UTIL::AD m_AD;
};

}  // namespace nbitest
