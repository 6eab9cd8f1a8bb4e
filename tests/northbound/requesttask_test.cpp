#include "requesttask.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>

#include "failure.h"
#include "names.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextmgr.h"
#include "requestscope.h"
#include "serving.h"
#include "support/recordinghost.h"

namespace northbound {
namespace {

using NS_UTIL::AD;
using NS_UTIL::ProcessException;

std::string Prefix()
{
    std::string line;
    Serving::AppendPrefix(line);
    return line;
}

class BodyTask : public RequestTask {
public:
    BodyTask(NS_UTIL::DBAgent& agent, AD& descriptor, std::function<void()> body)
        : RequestTask(agent, descriptor), m_Body(std::move(body))
    {
    }

private:
    void Work() override { m_Body(); }
    std::function<void()> m_Body;
};

class RequestTaskTest : public ::testing::Test {
protected:
    RequestTaskTest() { m_Descriptor.SetErrorCode(ErrCode::NOT_CARRIED_OUT); }

    /// Runs a task that was made while another scope served, as a worker does.
    void Run(const std::function<void()>& body)
    {
        std::unique_ptr<RequestTask> pTask;
        {
            const RequestScope scope(COUNTERS, "alice");
            m_RequestPrefix = Prefix();
            pTask = std::make_unique<BodyTask>(m_Agent, m_Descriptor, body);
        }
        pTask->Run();
    }

    unsigned int CodeOfWait(std::string& message)
    {
        try {
            m_Descriptor.Wait();
        } catch (ProcessException& e) {
            message = e.MessageStream().str();
            return e.GetErrorCode();
        }
        return 0;
    }

    nbitest::RecordingHost m_Host;
    NS_UTIL::DBAgent m_Agent{"agent", 4};
    AD m_Descriptor;
    std::string m_RequestPrefix;
};

TEST_F(RequestTaskTest, ScopeGivesItsThreadThePrefixOfItsRequest)
{
    EXPECT_EQ(Prefix(), "");
    {
        const RequestScope scope(COLLECT, "alice");
        const auto context = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
        EXPECT_EQ(Prefix(), context.GetOperUUID() + " [3 collect] alice ");
        EXPECT_EQ(context.GetTskMode(), 0);
        EXPECT_LT(context.GetTskNum(), 0);
    }
    EXPECT_EQ(Prefix(), "");
}

TEST_F(RequestTaskTest, EachScopeHasAnOperationUuidOfItsOwn)
{
    std::string first;
    {
        const RequestScope scope(TASKS, "alice");
        first = Prefix();
    }
    const RequestScope scope(TASKS, "alice");
    EXPECT_NE(Prefix(), first);
}

TEST_F(RequestTaskTest, UserCannotFakeAPrefixOrALine)
{
    const RequestScope scope(TASKS, "a b\nc\x7F");
    const std::string prefix = Prefix();
    EXPECT_EQ(prefix.substr(prefix.find(']')), "] a?b?c? ");
}

TEST_F(RequestTaskTest, EmptyUserIsADashAndALongOneIsCut)
{
    {
        const RequestScope scope(TASKS, "");
        EXPECT_EQ(Prefix().substr(Prefix().find(']')), "] - ");
    }
    const RequestScope scope(TASKS, std::string(1000, 'x'));
    EXPECT_EQ(Prefix().substr(Prefix().find(']')), "] " + std::string(RequestScope::MAX_USER, 'x') + " ");
}

TEST_F(RequestTaskTest, HugeRequestCarriesLimitTypeModeAndManager)
{
    const RequestScope scope(COLLECT, "alice");
    MarkAsHuge("ne=h,port=lo", 3);
    const auto context = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
    EXPECT_EQ(context.GetTskNum(), 3);
    EXPECT_EQ(context.GetTskType(), -1);
    EXPECT_EQ(context.GetTskMode(), 1);
    EXPECT_EQ(context.GetTskInfo(), "ne=h,port=lo 3 collect");
    EXPECT_EQ(context.GetUserInfo(), "alice");
    EXPECT_EQ(Prefix(), context.GetOperUUID() + " [3 collect] alice ");
}

TEST_F(RequestTaskTest, WorkerServesTheRequestDuringTheBodyAndNobodyAfterwards)
{
    std::string inBody;
    Run([&] { inBody = Prefix(); });
    EXPECT_EQ(inBody, m_RequestPrefix);
    EXPECT_EQ(Prefix(), "");
    std::string message;
    EXPECT_EQ(CodeOfWait(message), 0u);
}

TEST_F(RequestTaskTest, FailedBodyGivesItsCodeAndDetailAndEndsTheServing)
{
    Run([] { Fail(ErrCode::NO_FIGURES, "module", "detail", 12); });
    EXPECT_EQ(Prefix(), "");
    std::string message;
    EXPECT_EQ(CodeOfWait(message), ErrCode::NO_FIGURES);
    EXPECT_EQ(message, "ErrCode:1312948227,Detail:detail");
    EXPECT_EQ(m_Host.LogsAt("module", 12).size(), 1u);
}

TEST_F(RequestTaskTest, OtherExceptionsBecomeAnInternalFailureWithTheirText)
{
    Run([] { throw std::runtime_error("what happened"); });
    EXPECT_EQ(Prefix(), "");
    std::string message;
    EXPECT_EQ(CodeOfWait(message), ErrCode::INTERNAL);
    EXPECT_EQ(message, "ErrCode:1312948231,Detail:what happened");
}

TEST_F(RequestTaskTest, ExceptionsOfUnknownKindAreAFailureToo)
{
    Run([] { throw 7; });
    EXPECT_EQ(Prefix(), "");
    std::string message;
    EXPECT_EQ(CodeOfWait(message), ErrCode::INTERNAL);
}

}  // namespace
}  // namespace northbound
