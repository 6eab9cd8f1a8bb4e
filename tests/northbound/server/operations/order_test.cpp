// Collections that are ordered without waiting, of a server that is alone.
#include "server/operations/order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "nbiutil/errcode.h"
#include "northbound/elementtree.h"
#include "northbound/server/operations/inprocess.h"
#include "shared/names.h"
#include "support/eventually.h"

namespace northbound {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;

constexpr unsigned int HOUR = 3600000;  // milliseconds

std::string Operation(int nNumber)
{
    return "00000000-0000-0000-0000-" + std::string(11, '0') + std::to_string(nNumber);
}

class OrderTest : public ::testing::Test {
protected:
    OrderTest() { m_Tree.Show({"p0", "p1"}); }

    Outcome<Order::Result> OrderOf(int nNumber, unsigned int nInterval, unsigned int nDuration,
                                   const std::string& port = "p0")
    {
        return m_Server.Ask<Order>({Operation(nNumber), {ElementTree::DnOf(port), nInterval, nDuration}});
    }
    OrderProgress ProgressOf(int nNumber, unsigned int nLimit = 0)
    {
        auto outcome = m_Server.Ask<Await>({Operation(nNumber), nLimit});
        return std::get<OrderProgress>(std::move(outcome));
    }
    OrderProgress EndOf(int nNumber)
    {
        OrderProgress progress;
        EXPECT_TRUE(nbitest::Eventually([&] {
            progress = ProgressOf(nNumber, Await::LONGEST);
            return progress.m_State.m_Phase == CollectionPhase::ENDED;
        }));
        return progress;
    }
    std::vector<OpenOrder> Open() { return std::get<Orders::Result>(m_Server.Ask<Orders>({})).m_Items; }
    Fetch::Result PieceOf(int nNumber, std::uint64_t nOffset)
    {
        auto outcome = m_Server.Ask<Fetch>({Operation(nNumber), 0, nOffset});
        return std::get<Fetch::Result>(std::move(outcome));
    }

    ElementTree m_Tree;
    InProcessServer m_Server{"ElementRoot = " + m_Tree.Root() + "\nHugeTaskLimit = 2\n"};
};

TEST_F(OrderTest, OrderIsCarriedOutAndAwaited)
{
    EXPECT_FALSE(std::get<Order::Result>(OrderOf(1, 10, 20)).m_bKnown);
    const OrderProgress end = EndOf(1);
    EXPECT_EQ(end.m_State.m_End.m_nCode, 0u);
    EXPECT_EQ(end.m_State.m_nTaken, 3u);
    ASSERT_EQ(end.m_Shares.size(), 1u);
    EXPECT_EQ(end.m_Shares[0].m_File, end.m_State.m_End.m_File);
    EXPECT_EQ(end.m_Shares[0].m_Part.m_nTaken, 3u);
    ASSERT_EQ(end.m_Increase.size(), 1u);
    EXPECT_EQ(end.m_Increase[0].m_Name, "rxBytes");
    EXPECT_THAT(end.m_State.m_End.m_File,
                HasSubstr(m_Server.CollectionDirectory() + "/perf-p0-" + Operation(1) + ".csv"));
    EXPECT_THAT(m_Server.LogText(), ContainsRegex("<OpUUID>" + Operation(1) +
                                                  "</OpUUID> \\[3 collect\\] alice collection .*begins"));
}

TEST_F(OrderTest, SameOrderIsKnownWhileItRunsAndAfterwards)
{
    OrderOf(1, 10, 20);
    EXPECT_TRUE(std::get<Order::Result>(OrderOf(1, 10, 20)).m_bKnown);
    EndOf(1);
    EXPECT_TRUE(std::get<Order::Result>(OrderOf(1, 10, 20)).m_bKnown);
}

TEST_F(OrderTest, LimitHoldsAndAPlaceIsFreeOnceAnOrderIsCancelled)
{
    OrderOf(1, HOUR, 2 * HOUR);
    OrderOf(2, HOUR, 2 * HOUR, "p1");
    EXPECT_EQ(CodeOf(OrderOf(3, HOUR, 2 * HOUR)), NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    ASSERT_EQ(Open().size(), 2u);
    EXPECT_EQ(Open()[0].m_State.m_Order.m_Operation, Operation(1));
    EXPECT_EQ(Open()[1].m_State.m_Order.m_Dn, ElementTree::DnOf("p1"));
    EXPECT_EQ(CodeOf(m_Server.Ask<Cancel>({Operation(1)})), 0u);
    const CollectionEnd end = EndOf(1).m_State.m_End;
    EXPECT_EQ(end.m_nCode, ErrCode::CANCELLED);
    EXPECT_THAT(end.m_Detail, HasSubstr("the collection was cancelled after"));
    EXPECT_EQ(CodeOf(OrderOf(3, HOUR, 2 * HOUR)), 0u);
}

TEST_F(OrderTest, AnswerOfAWaitTellsHowFarTheOrderIs)
{
    OrderOf(1, HOUR, 2 * HOUR);
    ASSERT_TRUE(nbitest::Eventually([&] { return ProgressOf(1).m_State.m_nTaken == 1; }));
    const OrderProgress progress = ProgressOf(1, 1);
    EXPECT_EQ(progress.m_State.m_Phase, CollectionPhase::RUNNING);
    ASSERT_EQ(progress.m_Shares.size(), 1u);
    EXPECT_THAT(progress.m_Shares[0].m_File, HasSubstr(".csv.part"));
}

TEST_F(OrderTest, WaitEndsWithItsCaller)
{
    OrderOf(1, HOUR, 2 * HOUR);
    const auto outcome = m_Server.Ask<Await>({Operation(1), Await::LONGEST}, "alice", [] { return true; });
    EXPECT_EQ(std::get<OrderProgress>(outcome).m_State.m_Phase, CollectionPhase::RUNNING);
}

TEST_F(OrderTest, OrderWhosePortGoesEndsWithItsFailure)
{
    OrderOf(1, 10, HOUR);
    ASSERT_TRUE(nbitest::Eventually([&] { return ProgressOf(1).m_State.m_nTaken > 0; }));
    m_Tree.Show({});
    EXPECT_EQ(EndOf(1).m_State.m_End.m_nCode, ErrCode::UNKNOWN_OBJECT);
}

TEST_F(OrderTest, WhatNobodyOrderedIsUnknown)
{
    EXPECT_EQ(CodeOf(m_Server.Ask<Await>({Operation(1), 0})), ErrCode::UNKNOWN_OPERATION);
    EXPECT_EQ(CodeOf(m_Server.Ask<Fetch>({Operation(1), 0, 0})), ErrCode::UNKNOWN_OPERATION);
}

TEST_F(OrderTest, NamesThatAreNoUuidAreRefused)
{
    for (const std::string& name :
         {std::string("x"), std::string("../../../../etc/passwd"),
          std::string("00000000-0000-0000-0000-00000000000G"), Operation(1) + "1"}) {
        const Order::Request request{name, {ElementTree::DnOf("p0"), 10, 20}};
        EXPECT_EQ(CodeOf(m_Server.Ask<Order>(request)), ErrCode::BAD_ARGUMENT) << name;
    }
    EXPECT_EQ(CodeOf(OrderOf(1, 10, 20, "p2")), ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(CodeOf(OrderOf(1, 9, 20)), ErrCode::BAD_ARGUMENT);
}

TEST_F(OrderTest, PiecesMakeTheFile)
{
    OrderOf(1, 10, 20);
    const std::string text = nbitest::ReadFile(EndOf(1).m_State.m_End.m_File);
    const Fetch::Result piece = PieceOf(1, 0);
    EXPECT_EQ(piece.m_Data, text);
    EXPECT_EQ(piece.m_nSize, text.size());
    EXPECT_EQ(PieceOf(1, 7).m_Data, text.substr(7));
    EXPECT_EQ(PieceOf(1, 7).m_Digest, piece.m_Digest);
    EXPECT_EQ(PieceOf(1, text.size() + 1).m_Data, "");
}

TEST_F(OrderTest, PartThatIsNotThereIsRefused)
{
    OrderOf(1, 10, 20);
    const std::string file = EndOf(1).m_State.m_End.m_File;
    EXPECT_EQ(CodeOf(m_Server.Ask<Fetch>({Operation(1), 1, 0})), ErrCode::BAD_ARGUMENT);
    std::filesystem::remove(file);
    EXPECT_EQ(CodeOf(m_Server.Ask<Fetch>({Operation(1), 0, 0})), ErrCode::PART_ELSEWHERE);
}

}  // namespace
}  // namespace northbound
