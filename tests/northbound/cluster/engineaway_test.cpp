// The engine goes and comes back while servers work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <string>

#include "northbound/cluster/cluster.h"

namespace northbound {
namespace {

class EngineAwayTest : public ClusterTest {};

TEST_F(EngineAwayTest, NothingAcceptedIsLostWhenTheEngineIsKilledUnderLoad)
{
    const std::vector<std::string> names = {"a", "b", "c"};
    for (const std::string& name : names) Start(name, {"one", "HugeTaskLimit = 1000000\n"});
    int nNumber = 0;
    for (int nRound = 0; nRound < Rounds(5) && !HasFailure(); ++nRound) {
        for (int i = 0; i < 6; ++i) {
            const std::string& name = names[static_cast<std::size_t>(i) % names.size()];
            ASSERT_EQ(Order(name, ++nNumber, 20, 1000), 0u);
        }
        m_pEngine->Kill();
        EXPECT_TRUE(IsRefusedAsAway("a", ++nNumber));
        m_pEngine->Start();
        const auto back = std::chrono::steady_clock::now();
        ASSERT_EQ(Order("a", nNumber, 20, 1000), 0u);
        const std::chrono::duration<double> wait = std::chrono::steady_clock::now() - back;
        std::cout << "round " << nRound << ": orders again " << wait.count()
                  << " s after the engine's return\n";
    }
    for (int i = 1; i <= nNumber; ++i) ExpectWhole(EndOf("b", i), 51);
}

/// An answer that was lost: the order is sent again under its name, and is there once.
TEST_F(EngineAwayTest, OrderThatIsSentAgainAfterALostAnswerIsThereOnce)
{
    Start("a");
    Start("b");
    for (int i = 1; i <= 3; ++i) {
        m_pEngine->Pause();
        EXPECT_TRUE(IsRefusedAsAway("a", i));
        m_pEngine->Resume();
        ASSERT_EQ(Order("b", i, 10, 10), 0u);
        ExpectWhole(EndOf("a", i), 2);
    }
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.collection"), "3");
}

TEST_F(EngineAwayTest, ReadsAreAnsweredAndOrdersRefusedWhileTheEngineHangs)
{
    Start("a");
    ASSERT_EQ(Order("a", 1, 20, 60000), 0u);
    Holder(1, 1);
    m_pEngine->Pause();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(IsRefusedAsAway("a", 2));
    const std::chrono::duration<double> wait = std::chrono::steady_clock::now() - before;
    std::cout << "refused after " << wait.count() << " s\n";
    const Northbound::Reading_var reading = At("a")->ReadCounters(Who("a"), "ne=one,port=p0");
    EXPECT_STREQ(reading->dn.in(), "ne=one,port=p0");
    EXPECT_EQ(TasksListed(*m_Sessions["a"]), 1u) << "what runs goes on, and is listed";
    m_pEngine->Resume();
    ASSERT_EQ(Order("a", 2, 10, 10), 0u);
    ExpectWhole(EndOf("a", 2), 2);
    m_pEngine->Pause();
    StopInOrder(ServerOf("a"));
    m_pEngine->Resume();
}

/// The end of a collection that comes while the engine is away is told when it is back.
TEST_F(EngineAwayTest, EndThatCouldNotBeToldIsToldOnceTheEngineIsBack)
{
    Start("a", {"one", "BookLease = 60\n"});
    ASSERT_EQ(Order("a", 1, 20, 400), 0u);
    ASSERT_TRUE(Eventually(
        [&] { return !Asked("SELECT 1 FROM nbi.collection WHERE phase > 0 AND token = 1").empty(); }));
    m_pEngine->Kill();
    const std::string file = m_Files / ("a/perf-p0-1-" + OperationOf(1) + ".csv");
    ASSERT_TRUE(Eventually([&] { return nbitest::Exists(file); }));
    m_pEngine->Start();
    ExpectWhole(EndOf("a", 1), 21);
    EXPECT_EQ(Asked("SELECT token FROM nbi.collection"), "1") << "nobody had to take it again";
}

/// What runs is lost at the fence, and goes on once the engine is back, however long it was away.
TEST_F(EngineAwayTest, CollectionGoesOnAfterAnEngineThatWasAwayForLongerThanTheLease)
{
    Start("a", {"one", "BookLease = 1\n"});
    ASSERT_EQ(Order("a", 1, 50, 2000), 0u);
    Holder(1, 1);
    m_pEngine->Kill();
    ASSERT_TRUE(Eventually([&] {
        return ReadFile(ServerOf("a").Directory() + "/log").find("left to other servers: ") !=
               std::string::npos;
    }));
    m_pEngine->Start();
    const Progress end = EndOf("a", 1);
    ExpectWhole(end, 41);
    EXPECT_GE(end.m_Parts.size(), 2u);
}

}  // namespace
}  // namespace northbound
