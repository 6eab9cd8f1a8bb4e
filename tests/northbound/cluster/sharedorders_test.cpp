// Servers that share a book, and nothing goes wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <set>
#include <string>

#include "client/corba/collections.h"
#include "nbiutil/errcode.h"
#include "northbound/cluster/cluster.h"

namespace northbound {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr unsigned int HOUR = 60 * MINUTE;

class SharedOrdersTest : public ClusterTest {};

TEST_F(SharedOrdersTest, OrderIsAwaitedAndFetchedOfAnyServer)
{
    Start("a");
    Start("b");
    EXPECT_EQ(Order("a", 1, 10, 100), 0u);
    const Progress end = EndOf("b", 1);
    ExpectWhole(end, 11);
    ASSERT_EQ(end.m_Parts.size(), 1u);
    const std::string server = end.m_Parts[0].server.in();
    EXPECT_THAT(server, AnyOf("a", "b"));
    EXPECT_EQ(end.m_File, m_Files / (server + "/perf-p0-1-" + OperationOf(1) + ".csv"));
    for (const std::string name : {"a", "b"}) {
        EXPECT_EQ(TextOfPart(name, 1, 0), ReadFile(end.m_File));
    }
    for (const std::string name : {"a", "b"}) StopInOrder(ServerOf(name));
}

TEST_F(SharedOrdersTest, OrderThatIsSentAgainIsKnownToEveryServer)
{
    Start("a");
    Start("b");
    EXPECT_EQ(Order("a", 1, HOUR, 2 * HOUR), 0u);
    EXPECT_EQ(Order("b", 1, HOUR, 2 * HOUR), 0u);
    EXPECT_TRUE(m_bKnown);
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.collection"), "1");
}

TEST_F(SharedOrdersTest, CollectAnswersWithTheFileWhoeverWroteIt)
{
    Start("a");
    Start("b");
    std::set<std::string> files;
    for (const std::string name : {"a", "b"}) {
        Northbound::CollectionResult_var result;
        Patiently([&] { result = At(name)->Collect(Who(name), northbound::Order(10, 50, "p1")); });
        EXPECT_EQ(result->samples, 6u);
        EXPECT_STREQ(result->dn.in(), "ne=one,port=p1");
        EXPECT_THAT(ReadFile(result->file.in()), HasSubstr("time,rxBytes"));
        files.insert(result->file.in());
    }
    EXPECT_EQ(files.size(), 2u);
}

TEST_F(SharedOrdersTest, CancelReachesTheServerThatCarriesItOut)
{
    Start("a");
    Start("b");
    EXPECT_EQ(Order("a", 1, HOUR, 2 * HOUR), 0u);
    const std::string other = Holder(1) == "a" ? "b" : "a";
    Patiently([&] { At(other)->Cancel(Who(other), OperationOf(1).c_str()); });
    EXPECT_EQ(EndOf(other, 1).m_nCode, ErrCode::CANCELLED);
}

TEST_F(SharedOrdersTest, CollectWhoseCallerGoesIsCancelled)
{
    Start("a");
    Northbound::Caller who = Who("a");
    who.patience = 1;
    const auto failure = FailureOf([&] {
        const Northbound::CollectionResult_var result =
            At("a")->Collect(who, northbound::Order(HOUR, 2 * HOUR, "p0"));
    });
    EXPECT_EQ(failure.code, ErrCode::CANCELLED);
    EXPECT_TRUE(
        Eventually([&] { return Asked("SELECT count(*) FROM nbi.collection WHERE phase < 2") == "0"; }));
}

TEST_F(SharedOrdersTest, ListsTellServersAndOpenOrdersOldestFirst)
{
    Start("a");
    Start("b");
    EXPECT_EQ(Order("a", 2, HOUR, 2 * HOUR), 0u);
    EXPECT_EQ(Order("b", 1, HOUR, 2 * HOUR, "ne=one,port=p1"), 0u);
    Holder(2);
    const std::string holder = Holder(1);
    Northbound::OpenOrderPage_var orders;
    Patiently([&] { orders = At("a")->Orders(Who("a"), ""); });
    ASSERT_EQ(orders->orders.length(), 2u);
    EXPECT_EQ(orders->orders[0].operation.in(), OperationOf(2));
    EXPECT_EQ(orders->orders[1].server.in(), holder);
    EXPECT_STREQ(orders->orders[1].dn.in(), "ne=one,port=p1");
    EXPECT_STREQ(orders->orders[1].user.in(), "alice");
    EXPECT_EQ(orders->orders[1].samplesPlanned, 3u);
    ASSERT_TRUE(Eventually([&] { return Asked("SELECT sum(load) FROM nbi.server") == "2"; }));
    Northbound::ServerPage_var servers;
    Patiently([&] { servers = At("b")->Servers(Who("b"), ""); });
    ASSERT_EQ(servers->servers.length(), 2u);
    EXPECT_STREQ(servers->servers[0].name.in(), "a");
    EXPECT_EQ(servers->servers[1].address.in(), ServerOf("b").Address());
    EXPECT_GT(servers->servers[1].lease, 0);
    EXPECT_EQ(servers->servers[0].load + servers->servers[1].load, 2u);
}

TEST_F(SharedOrdersTest, WorkOfAnElementThatNobodyReachesWaitsAndSaysSo)
{
    Start("a");
    EXPECT_EQ(Order("a", 1, 10, 100, "ne=two,port=p0"), 0u);
    const Progress progress = ProgressOf("a", 1, 300);
    EXPECT_EQ(progress.m_Phase, "waiting");
    EXPECT_EQ(progress.m_Note, "no server that reaches ne=two is there");
    Wish wish;
    wish.m_Elements = "three two";
    Start("b", wish);
    const Progress end = EndOf("a", 1);
    ExpectWhole(end, 11);
    EXPECT_STREQ(end.m_Parts.at(0).server.in(), "b");
    EXPECT_EQ(Order("a", 2, 10, 100, "ne=one,port=none"), ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(Order("a", 3, 10, 100, "ne=two"), ErrCode::UNKNOWN_OBJECT);
}

TEST_F(SharedOrdersTest, StoppedServerGivesItsWorkBackAtOnce)
{
    Start("a");
    EXPECT_EQ(Order("a", 1, 100, 6000), 0u);
    Holder(1, 3);
    Start("b");
    StopInOrder(ServerOf("a"));
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.server WHERE name = 'a'"), "0");
    const Progress end = EndOf("b", 1);
    ExpectWhole(end, 61);
    ASSERT_EQ(end.m_Parts.size(), 2u);
    EXPECT_STREQ(end.m_Parts[0].server.in(), "a");
    EXPECT_THAT(end.m_Parts[0].file.in(), HasSubstr(".csv.part"));
    EXPECT_STREQ(end.m_Parts[1].server.in(), "b");
    for (const std::string name : {"a", "b"}) {
        EXPECT_THAT(ReadFile(ServerOf(name).Directory() + "/log"),
                    HasSubstr("<OpUUID>" + OperationOf(1) + "</OpUUID> [3 collect] alice"));
    }
    EXPECT_THAT(ReadFile(ServerOf("b").Directory() + "/log"), HasSubstr("goes on: "));
    Northbound::OrderState_var state;
    Patiently([&] { state = At("b")->Await(Who("b"), OperationOf(1).c_str(), 0); });
    ASSERT_GT(state->result.increase.length(), 0u);
    EXPECT_TRUE(state->result.increase[0].known) << "counted from the first sample, which is in a's file";
}

/// Packing and lists of files are each server's own affair.
TEST_F(SharedOrdersTest, ServerPacksWhatItHasTakenAndNothingOfOthers)
{
    Start("a");
    ASSERT_EQ(Order("a", 1, 10, 50), 0u);
    const Progress end = EndOf("a", 1);
    Start("b");
    for (const std::string name : {"b", "a"}) {
        const Northbound::StoredFilePage_var files = At(name)->Files(Who(name), "");
        EXPECT_EQ(files->files.length(), name == "a" ? 1u : 0u);
        Northbound::PackOrder work;
        work.method = "gzip";
        work.perArchive = 1;
        const Northbound::PackResult_var packed = At(name)->Pack(Who(name), work);
        EXPECT_EQ(packed->made, name == "a" ? 1u : 0u);
    }
    EXPECT_TRUE(nbitest::Exists(end.m_File + ".gz"));
    EXPECT_EQ(FailureOf([&] { TextOfPart("a", 1, 0); }).code, ErrCode::PART_ELSEWHERE);
}

TEST_F(SharedOrdersTest, ClientThatWaitsHearsThatOthersGoOn)
{
    Start("a");
    std::list<Collection> running;
    running.emplace_back(*m_Sessions["a"], northbound::Order(100, HOUR, "p0"), MINUTE);
    ASSERT_TRUE(Eventually([&] { return TasksListed(*m_Sessions["a"]) == 1; }));
    StopInOrder(ServerOf("a"));
    ASSERT_TRUE(Eventually([&] { return running.front().IsOver(); }));
    ASSERT_NE(running.front().Refusal(), nullptr);
    EXPECT_EQ(running.front().Refusal()->code, ErrCode::CUT_SHORT);
    EXPECT_THAT(running.front().Refusal()->detail.in(), HasSubstr("others go on with collection"));
    EXPECT_EQ(Asked("SELECT phase FROM nbi.collection"), "0");
}

}  // namespace
}  // namespace northbound
