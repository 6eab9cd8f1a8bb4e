#include "server/serving/requesttask.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "nbihost/recordinghost.h"
#include "nbiutil/processexception.h"
#include "server/serving/failure.h"
#include "server/serving/requestscope.h"
#include "shared/names.h"

namespace northbound {
namespace {

using NS_UTIL::AD;
using NS_UTIL::ProcessException;

constexpr Profile OPERATION{2, "counters", Place::POOL_1, Role::READER};

std::string OwnPrefix()
{
    std::string line;
    LogPrefix::Append(line);
    return line;
}

class RequestTaskTest : public ::testing::Test {
protected:
    RequestTaskTest() { m_Descriptor.SetErrorCode(ErrCode::NOT_CARRIED_OUT); }

    /// Runs a task that was made while another scope served, as a worker does.
    void Run(const std::function<void()>& work)
    {
        std::unique_ptr<RequestTask> pTask;
        {
            const RequestScope scope(OPERATION, "alice");
            m_RequestPrefix = OwnPrefix();
            pTask = std::make_unique<RequestTask>(m_Agent, m_Descriptor, work);
        }
        pTask->Run();
        EXPECT_EQ(pTask->GetTaskState(), NS_UTIL::NBI_TASK_FINISHED);
    }

    unsigned int CodeOfWait(std::string& detail)
    {
        try {
            m_Descriptor.Wait();
        } catch (const ProcessException& e) {
            detail = e.GetDetail();
            return e.GetErrorCode();
        }
        return 0;
    }

    nbitest::RecordingHost m_Host;
    NS_UTIL::DBAgent m_Agent{"agent", 4};
    AD m_Descriptor;
    std::string m_RequestPrefix;
};

TEST_F(RequestTaskTest, WorkerServesTheRequestDuringTheWorkAndNobodyAfterwards)
{
    std::string inWork;
    Run([&] { inWork = OwnPrefix(); });
    EXPECT_EQ(inWork, m_RequestPrefix);
    EXPECT_EQ(OwnPrefix(), "");
    std::string detail;
    EXPECT_EQ(CodeOfWait(detail), 0u);
}

TEST_F(RequestTaskTest, FailedWorkGivesItsCodeAndDetailAndEndsTheServing)
{
    Run([] { ThrowFailure(ErrCode::NO_FIGURES, "module", "detail", 12); });
    EXPECT_EQ(OwnPrefix(), "");
    std::string detail;
    EXPECT_EQ(CodeOfWait(detail), ErrCode::NO_FIGURES);
    EXPECT_EQ(detail, "detail");
}

TEST_F(RequestTaskTest, FailureIsLoggedOnceUnderThePlaceThatRaisedIt)
{
    Run([] { ThrowFailure(ErrCode::NO_FIGURES, "module", "detail", 12); });
    const auto lines = m_Host.LogsOf("module:12");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].m_Text, "ErrCode:1312948227,Detail:detail");
    EXPECT_TRUE(m_Host.LogsOf("nbitask").empty());
}

TEST_F(RequestTaskTest, OtherExceptionsBecomeAnInternalFailureWithTheirText)
{
    Run([] { throw std::runtime_error("what happened"); });
    EXPECT_EQ(OwnPrefix(), "");
    std::string detail;
    EXPECT_EQ(CodeOfWait(detail), ErrCode::INTERNAL);
    EXPECT_EQ(detail, "what happened");
}

TEST_F(RequestTaskTest, ExceptionsOfUnknownKindAreAFailureToo)
{
    Run([] { throw 7; });
    EXPECT_EQ(OwnPrefix(), "");
    std::string detail;
    EXPECT_EQ(CodeOfWait(detail), ErrCode::INTERNAL);
}

TEST_F(RequestTaskTest, WorkGoesWithTheTask)
{
    const auto pOwned = std::make_shared<int>(0);
    Run([pOwned] {});
    EXPECT_EQ(pOwned.use_count(), 1);
}

}  // namespace
}  // namespace northbound
