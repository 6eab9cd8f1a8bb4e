// Servers that die or stand still while they work: what they had is finished by the others, once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <random>
#include <string>

#include "northbound/cluster/cluster.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

class TakeoverTest : public ClusterTest {
protected:
    static constexpr int ORDERS = 12;
    static constexpr unsigned int INTERVAL = 50;
    static constexpr unsigned int SAMPLES = 31;

    static std::string LineOf(int nNumber, const std::string& end)
    {
        return "collection " + OperationOf(nNumber) + " " + end;
    }
    /// In how many logs of servers, the former ones' too, an end was told that counts.
    int EndsOf(int nNumber) const
    {
        int nEnds = 0;
        for (const std::string& log : m_Logs) {
            const std::string line = LineOf(nNumber, "has ended");
            for (std::size_t n = log.find(line); n != std::string::npos; n = log.find(line, n + 1)) ++nEnds;
        }
        return nEnds;
    }
    /// Seconds by the engine's clock.
    std::string LastTakeoverAfter(const std::string& time) const
    {
        const std::string quoted = "'" + time + "'";
        return Asked("SELECT coalesce(max(extract(epoch FROM claimed_at - " + quoted +
                     ")), 0)::numeric(9, 3) FROM nbi.part WHERE token > 1 AND claimed_at > " + quoted);
    }
    void KeepLog(const std::string& name) { m_Logs.push_back(ReadFile(ServerOf(name).Directory() + "/log")); }

    std::vector<std::string> m_Logs;
};

TEST_F(TakeoverTest, WhatAKilledServerHadIsFinishedOnceByTheOthers)
{
    const std::vector<std::string> names = {"a", "b", "c"};
    const Wish brief{"one", "BookLease = 1\n"};
    for (const std::string& name : names) Start(name, brief);
    std::mt19937 random(std::random_device{}());
    int nNumber = 0;
    for (int nRound = 0; nRound < Rounds(3) && !HasFailure(); ++nRound) {
        const int nFirst = nNumber + 1;
        for (int i = 0; i < ORDERS; ++i) {
            const std::string& name = names[static_cast<std::size_t>(i) % names.size()];
            ASSERT_EQ(Order(name, ++nNumber, INTERVAL, INTERVAL * (SAMPLES - 1)), 0u);
        }
        const std::string victim = names[random() % names.size()];
        const std::string other = victim == "a" ? "b" : "a";
        ASSERT_TRUE(Eventually([&] {
            return Asked("SELECT count(*) FROM nbi.collection WHERE phase = 1 AND taken > 4 AND holder = '" +
                         victim + "'") != "0" ||
                   Asked("SELECT count(*) FROM nbi.collection WHERE phase < 2") == "0";
        }));
        Kill(victim);
        const std::string killedAt = Asked("SELECT clock_timestamp()");
        for (int i = nFirst; i <= nNumber; ++i) ExpectWhole(EndOf(other, i), SAMPLES);
        std::cout << "round " << nRound << ": " << victim << " killed; the last takeover came after "
                  << LastTakeoverAfter(killedAt) << " s, the lease is 1 s\n";
        KeepLog(victim);
        Start(victim, brief);
    }
    for (const std::string& name : names) KeepLog(name);
    for (int i = 1; i <= nNumber; ++i) EXPECT_LE(EndsOf(i), 1) << i;
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.collection WHERE end_code = 0"), std::to_string(nNumber));
}

TEST_F(TakeoverTest, FirstOperationIsInTheLogsOfAllThatWorkedOnIt)
{
    const Wish brief{"one", "BookLease = 3\n"};
    Start("a", brief);
    ASSERT_EQ(Order("a", 1, 100, 5000), 0u);
    ASSERT_EQ(Holder(1, 1), "a");
    Start("b", brief);
    Kill("a");
    const Progress end = EndOf("b", 1);
    ExpectWhole(end, 51);
    ASSERT_GE(end.m_Parts.size(), 2u);
    EXPECT_STREQ(end.m_Parts.front().server.in(), "a");
    EXPECT_STREQ(end.m_Parts.back().server.in(), "b");
    EXPECT_THAT(end.m_Parts[0].file.in(), HasSubstr(".csv.part"));
    for (const std::string name : {"a", "b"}) {
        EXPECT_THAT(ReadFile(ServerOf(name).Directory() + "/log"),
                    HasSubstr("<OpUUID>" + OperationOf(1) + "</OpUUID> [3 collect] alice"));
    }
    // What the dead one has taken can be had of the living one, and no more than counts.
    const std::string text = TextOfPart("b", 1, 0);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), static_cast<long>(end.m_Parts[0].samples) + 1);
    // Started again, it keeps its part and tells of it.
    Start("a");
    EXPECT_THAT(ReadFile(ServerOf("a").Directory() + "/log"),
                HasSubstr("1 files of collections that did not end are kept"));
    EXPECT_EQ(ReadFile(end.m_Parts[0].file.in()).compare(0, text.size(), text), 0);
}

/// It stops by itself, and what it had is written by others alone.
TEST_F(TakeoverTest, ServerThatStoodStillForThreeLeasesWritesNoMore)
{
    const Wish brief{"one", "BookLease = 2\n"};
    Start("a", brief);
    ASSERT_EQ(Order("a", 1, 300, 600000), 0u);
    ASSERT_EQ(Holder(1, 1), "a");
    ServerOf("a").Process().Signal(SIGSTOP);
    const std::string token = Asked("SELECT token FROM nbi.collection");
    const std::string file = m_Files / ("a/perf-p0-" + token + "-" + OperationOf(1) + ".csv.part");
    const std::string before = ReadFile(file);
    Start("b", brief);
    // Three leases by the engine's clock, and another server's claim.
    ASSERT_TRUE(Eventually([&] {
        return Asked(
                   "SELECT 1 FROM nbi.collection WHERE holder = 'b' AND EXISTS (SELECT 1 FROM nbi.server "
                   "WHERE name = 'a' AND lease_until < clock_timestamp() - interval '4 seconds')") == "1";
    }));
    ServerOf("a").Process().Signal(SIGCONT);
    ASSERT_TRUE(Eventually([&] {
        return ReadFile(ServerOf("a").Directory() + "/log").find("left to other servers: ") !=
               std::string::npos;
    }));
    EXPECT_EQ(ReadFile(file), before);
    StopInOrder(ServerOf("b"));
    StopInOrder(ServerOf("a"));
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.part WHERE token = " + token + " AND taken > 0"), "1");
}

/// Nobody else may take the work of an element that one server alone reaches: it waits for its return.
TEST_F(TakeoverTest, WorkThatNobodyElseMayTakeWaitsForItsServer)
{
    Start("a", {"island", "BookLease = 1\n"});
    Start("b");
    ASSERT_EQ(Order("b", 1, 100, 3000, "ne=island,port=p0"), 0u);
    ASSERT_EQ(Holder(1, 1), "a");
    Kill("a");
    Progress progress;
    ASSERT_TRUE(Eventually([&] {
        progress = ProgressOf("b", 1);
        return !progress.m_Note.empty();
    }));
    EXPECT_EQ(progress.m_Note, "no server that reaches ne=island is there");
    Start("a", {"island", "BookLease = 1\n"});
    ExpectWhole(EndOf("b", 1), 31);
}

}  // namespace
}  // namespace northbound
