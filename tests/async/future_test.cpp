// Values and failures that come back, and the waits for them.
#include "nbiutil/async/future.h"

#include <stdexcept>
#include <utility>

#include "async/asynctesting.h"
#include "nbiutil/threadcontextmgr.h"

namespace NS_UTIL {
namespace {

using nbitest::Counted;
using nbitest::Eventually;
using nbitest::Failure;
using nbitest::FailureOf;
using nbitest::Gate;
using nbitest::Signal;
using nbitest::TestAgent;

class FutureTest : public nbitest::AsyncTest {};

TEST_F(FutureTest, GivesTheValueOfTheBody)
{
    EXPECT_EQ(Submit(POOL, TestAgent(), [] { return std::string("answer"); }).Get(), "answer");
}

TEST_F(FutureTest, ABodyWithoutAValueHasAnEnd)
{
    int nRuns = 0;
    Submit(POOL, TestAgent(), [&nRuns] { ++nRuns; }).Get();
    EXPECT_EQ(nRuns, 1);
}

TEST_F(FutureTest, BodyAndValueMayBeMovableOnly)
{
    auto body = [pValue = std::make_unique<int>(7)]() mutable { return std::move(pValue); };
    EXPECT_EQ(*Submit(POOL, TestAgent(), std::move(body)).Get(), 7);
}

TEST_F(FutureTest, TheBodyServesTheCallersRequest)
{
    const RequestScope request("getAllEquipment", "operator");
    const ThreadContextInfo mine = ThreadContextMgr::Instance()->GetThreadContext();
    const ThreadContextInfo theirs =
        Submit(POOL, TestAgent(), [] { return ThreadContextMgr::Instance()->GetThreadContext(); }).Get();
    EXPECT_EQ(theirs, mine);
}

TEST_F(FutureTest, AFailureKeepsCodeDetailInfoAndOrigin)
{
    auto future = Submit(POOL, TestAgent(), [] {
        throw ProcessException(0x4E420001, "no eth7", "eth7 is not there", "catalogue", "Find", 12);
    });
    const Failure failure = FailureOf(future);
    EXPECT_EQ(failure.m_nCode, 0x4E420001U);
    EXPECT_EQ(failure.m_Detail, "no eth7");
    EXPECT_EQ(failure.m_ErrorInfo, "eth7 is not there");
    EXPECT_EQ(failure.m_File, "catalogue");
    EXPECT_EQ(failure.m_Function, "Find");
    EXPECT_EQ(failure.m_nLine, 12);
}

TEST_F(FutureTest, AFailureIsInTheLogBeforeItsCallerHearsOfIt)
{
    auto future =
        Submit(POOL, TestAgent(), [] { throw ProcessException(5, "why", "info", "catalogue", "Find", 12); });
    future.WaitFor(std::chrono::hours(1));
    FailureOf(future);
    const auto lines = m_Host.LogsAt("catalogue", 12);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].m_Text, "ErrCode:5,Detail:why");
}

TEST_F(FutureTest, AStandardExceptionKeepsItsText)
{
    auto future = Submit(POOL, TestAgent(), []() -> int { throw std::out_of_range("port 9 of 8"); });
    const Failure failure = FailureOf(future);
    EXPECT_EQ(failure.m_nCode, ErrCode::TASK_EXCEPTION);
    EXPECT_EQ(failure.m_Detail, "port 9 of 8");
    EXPECT_EQ(failure.m_ErrorInfo, "port 9 of 8");
    const auto lines = m_Host.LogsOf("async");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].m_Text, "ErrCode:1092092605,Detail:port 9 of 8");
}

TEST_F(FutureTest, AnythingElseHasTheCodeOfAPlainTask)
{
    auto future = Submit(POOL, TestAgent(), [] { throw 7; });
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::TASK_BODY_FAILED);
    EXPECT_EQ(m_Host.LogsAt("nbitask", 140).size(), 1U);
}

TEST_F(FutureTest, WhatTheBodyHeldIsGoneWhenTheAnswerIsThere)
{
    Submit(POOL, TestAgent(), [held = Counted()] {}).Get();
    EXPECT_EQ(Counted::Alive(), 0);
    auto failing = Submit(POOL, TestAgent(), [held = Counted()] { throw std::runtime_error("no"); });
    FailureOf(failing);
    EXPECT_EQ(Counted::Alive(), 0);
}

TEST_F(FutureTest, WaitForTellsWhetherThereIsAnAnswer)
{
    Gate gate(POOL);
    auto future = Submit(POOL, TestAgent(), [] { return 7; });
    EXPECT_FALSE(future.IsReady());
    EXPECT_FALSE(future.WaitFor(std::chrono::milliseconds(1)));
    gate.Open();
    EXPECT_TRUE(future.WaitFor(std::chrono::hours::max()));
    EXPECT_TRUE(future.IsReady());
    EXPECT_EQ(future.Get(), 7);
}

TEST_F(FutureTest, WaitForIsWokenByAFailureToo)
{
    Gate gate(POOL);
    auto future = Submit(POOL, TestAgent(), [] { throw std::runtime_error("no"); });
    std::thread opener([&gate] { gate.Open(); });
    EXPECT_TRUE(future.WaitFor(std::chrono::hours(1)));
    opener.join();
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::TASK_EXCEPTION);
}

TEST_F(FutureTest, IsGoodForOneGet)
{
    auto future = Submit(POOL, TestAgent(), [] { return 7; });
    EXPECT_TRUE(future.IsValid());
    future.Get();
    EXPECT_FALSE(future.IsValid());
    EXPECT_THROW(future.Get(), std::logic_error);
    EXPECT_THROW(future.IsReady(), std::logic_error);
    EXPECT_THROW(Future<int>().Get(), std::logic_error);
}

TEST_F(FutureTest, TheTaskGoesOnWithoutItsFuture)
{
    std::atomic<bool> bRan{false};
    Submit(POOL, TestAgent(), [&bRan, held = Counted()] { bRan = true; });
    EXPECT_TRUE(Eventually([&bRan] { return bRan && Counted::Alive() == 0; }));
}

TEST_F(FutureTest, AStopOfTheFrameworkEndsTheWaitForARunningBody)
{
    Signal entered;
    Signal opened;
    auto future = Submit(POOL, TestAgent(), [&] {
        entered.Set();
        opened.Wait();
    });
    entered.Wait();
    m_Host.SetState(2);
    EXPECT_TRUE(future.WaitFor(std::chrono::hours(1)));
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::FRAMEWORK_STOPPED);
    opened.Set();
    EXPECT_TRUE(Eventually([] { return QueuedTasks(POOL) == 0; }));
    m_Host.SetState(0);
    Submit(POOL, TestAgent(), [] {}).Get();  // the body has left this test's stack
}

TEST_F(FutureTest, AnAnswerThatIsThereOutlivesTheFrameworksStop)
{
    auto future = Submit(POOL, TestAgent(), [] { return 7; });
    ASSERT_TRUE(future.WaitFor(std::chrono::hours(1)));
    m_Host.SetState(2);
    EXPECT_EQ(future.Get(), 7);
}

}  // namespace
}  // namespace NS_UTIL
