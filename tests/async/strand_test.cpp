#include "nbiutil/async/strand.h"

#include <stdexcept>
#include <thread>
#include <vector>

#include "async/asynctesting.h"

namespace NS_UTIL {
namespace {

using nbitest::Counted;
using nbitest::Eventually;
using nbitest::FailureOf;
using nbitest::Gate;
using nbitest::Meeting;
using nbitest::RecordingHost;
using nbitest::Signal;
using nbitest::TestAgent;

/// Pool 10, with four workers.
class StrandTest : public ::testing::Test {
protected:
    static constexpr unsigned int POOL = 10;

    StrandTest() { m_Host.SetInt("TaskMgrMaxThreadNum", 4); }

    RecordingHost m_Host;
};

TEST_F(StrandTest, TasksOfOneKeyRunInOrderOneAtATime)
{
    Strand<std::string> strand(POOL, TestAgent());
    std::vector<int> order;  // without a lock: one at a time
    std::vector<Future<void>> futures;
    futures.reserve(1000);
    for (int i = 0; i < 1000; ++i) {
        futures.push_back(strand.Submit("eth0", [&order, i] { order.push_back(i); }));
    }
    for (auto& future : futures) future.Get();
    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(StrandTest, KeysRunSideBySide)
{
    Strand<int> strand(POOL, TestAgent());
    Meeting meeting(3);
    std::vector<Future<void>> futures;
    futures.reserve(3);
    for (int nKey = 0; nKey < 3; ++nKey) {
        futures.push_back(strand.Submit(nKey, [&meeting] { meeting.Join(); }));
    }
    for (auto& future : futures) future.Get();
}

TEST_F(StrandTest, ATaskThatWaitsForItsTurnHoldsNoWorker)
{
    Strand<int> strand(POOL, TestAgent());
    Signal opened;
    std::vector<Future<void>> futures;
    futures.reserve(100);
    for (int i = 0; i < 100; ++i) futures.push_back(strand.Submit(0, [&opened] { opened.Wait(); }));
    Meeting meeting(3);  // the other three workers
    std::vector<Future<void>> others;
    others.reserve(3);
    for (int i = 0; i < 3; ++i) {
        others.push_back(Submit(POOL, TestAgent(), [&meeting] { meeting.Join(); }));
    }
    for (auto& other : others) other.Get();
    opened.Set();
    for (auto& future : futures) future.Get();
}

TEST_F(StrandTest, AFailedOrCancelledTaskDoesNotHoldUpItsKey)
{
    Strand<int> strand(POOL, TestAgent());
    Signal opened;
    auto first = strand.Submit(0, [&opened] {
        opened.Wait();
        throw std::runtime_error("no");
    });
    auto second = strand.Submit(0, [] { return 2; });
    auto third = strand.Submit(0, [] { return 3; });
    EXPECT_TRUE(second.Cancel());
    opened.Set();
    EXPECT_EQ(FailureOf(first).m_nCode, ErrCode::TASK_EXCEPTION);
    EXPECT_EQ(FailureOf(second).m_nCode, ErrCode::TASK_CANCELLED);
    EXPECT_EQ(third.Get(), 3);
}

TEST_F(StrandTest, ADeadlineEndsTheWaitForATurn)
{
    Strand<int> strand(POOL, TestAgent());
    Signal opened;
    auto first = strand.Submit(0, [&opened] { opened.Wait(); });
    auto second = strand.Submit(
        0, [] {}, After(std::chrono::milliseconds(1)));
    EXPECT_EQ(FailureOf(second).m_nCode, ErrCode::TASK_CANCELLED);
    opened.Set();
    first.Get();
}

TEST_F(StrandTest, EachTaskServesTheRequestOfItsSubmit)
{
    Strand<int> strand(POOL, TestAgent());
    Signal opened;
    auto first = strand.Submit(0, [&opened] { opened.Wait(); });
    std::vector<Future<std::string>> futures;
    for (const char* pInterface : {"a", "b", "c"}) {
        const RequestScope request(pInterface);
        futures.push_back(strand.Submit(
            0, [] { return ThreadContextMgr::Instance()->GetThreadContext().GetInterfaceName(); }));
    }
    opened.Set();
    EXPECT_EQ(futures[0].Get() + futures[1].Get() + futures[2].Get(), "abc");
}

TEST_F(StrandTest, NothingIsKeptOfAnIdleKey)
{
    Strand<std::string> strand(POOL, TestAgent());
    std::vector<Future<void>> futures;
    futures.reserve(100);
    for (int i = 0; i < 100; ++i) {
        futures.push_back(strand.Submit(std::to_string(i % 10), [held = Counted()] {}));
    }
    for (auto& future : futures) future.Get();
    EXPECT_TRUE(Eventually([&strand] { return strand.BusyKeys() == 0; }));
    EXPECT_EQ(Counted::Alive(), 0);
}

TEST_F(StrandTest, TasksGoOnWithoutTheirStrand)
{
    Signal opened;
    auto pStrand = std::make_unique<Strand<int>>(POOL, TestAgent());
    auto first = pStrand->Submit(0, [&opened] { opened.Wait(); });
    auto second = pStrand->Submit(0, [] { return 2; });
    pStrand.reset();
    opened.Set();
    EXPECT_EQ(second.Get(), 2);
}

TEST_F(StrandTest, RefusesThePoolOfHugeTasks)
{
    EXPECT_THROW(Strand<int>(HUGE_POOL, TestAgent()), std::invalid_argument);
}

TEST_F(StrandTest, ManyTasksOfAKeyThatIsDroppedNeedNoStack)
{
    Strand<int> strand(POOL, TestAgent());
    Signal entered;
    Signal opened;
    auto first = strand.Submit(0, [&] {
        entered.Set();
        opened.Wait();
    });
    std::vector<Future<void>> futures;
    futures.reserve(100000);
    for (int i = 0; i < 100000; ++i) futures.push_back(strand.Submit(0, [held = Counted()] {}));
    entered.Wait();
    NBITaskMgr::GetTaskMgr(POOL)->SetExitFlag();
    opened.Set();
    first.Get();
    for (auto& future : futures) EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::POOL_DESTROYED);
    EXPECT_EQ(Counted::Alive(), 0);
    EXPECT_TRUE(Eventually([&strand] { return strand.BusyKeys() == 0; }));
    NBITaskMgr::GetTaskMgr(POOL)->wait();
}

TEST_F(StrandTest, TasksBehindOneThatAShutdownLeftInItsQueueAnswer)
{
    m_Host.SetInt("TaskMgrMaxThreadNum", 1);
    constexpr unsigned int STOPPED_POOL = 0;
    Strand<int> strand(STOPPED_POOL, TestAgent());
    auto pGate = std::make_unique<Gate>(STOPPED_POOL);
    auto first = strand.Submit(0, [] {});   // with the pool
    auto second = strand.Submit(0, [] {});  // kept by the strand
    auto third = strand.Submit(0, [] {});
    std::thread stopper([] { TaskPoolMgr::ShutDown(); });
    EXPECT_TRUE(Eventually([&second] { return second.IsReady(); }));
    EXPECT_EQ(FailureOf(second).m_nCode, ErrCode::POOL_DESTROYED);
    EXPECT_EQ(FailureOf(third).m_nCode, ErrCode::POOL_DESTROYED);
    EXPECT_EQ(FailureOf(first).m_nCode, ErrCode::POOL_DESTROYED);
    EXPECT_EQ(strand.BusyKeys(), 0U);
    pGate.reset();
    stopper.join();
}

}  // namespace
}  // namespace NS_UTIL
