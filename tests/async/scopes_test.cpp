#include "nbiutil/async/scopes.h"

#include <stdexcept>

#include "async/asynctesting.h"
#include "nbiutil/hugetask.h"

namespace NS_UTIL {
namespace {

ThreadContextInfo Current()
{
    return ThreadContextMgr::Instance()->GetThreadContext();
}

TEST(RequestScopeTest, TheThreadServesTheRequestUntilTheEnd)
{
    nbitest::ServeRequest("outer");
    const ThreadContextInfo outer = Current();
    {
        const RequestScope scope("getAllEquipment", "operator");
        const ThreadContextInfo inner = Current();
        EXPECT_EQ(inner.GetInterfaceName(), "getAllEquipment");
        EXPECT_EQ(inner.GetUserInfo(), "operator");
        EXPECT_EQ(inner.GetBareOperUUID().size(), 36U);
        EXPECT_NE(inner.GetOperUUID(), outer.GetOperUUID());
        EXPECT_EQ(inner.GetTskMode(), 0);
    }
    EXPECT_EQ(Current(), outer);
}

TEST(RequestScopeTest, ARecordThatComesFromElsewhereIsTakenAsItIs)
{
    ThreadContextInfo info;
    info.SetInterfaceName("get");
    info.SetOperUUID("brought along");
    info.SetHugeTskInfo(3, 0, 1, "perf/");
    const RequestScope scope(info);
    EXPECT_EQ(Current(), info);
    EXPECT_EQ(Current().GetTskMode(), 1);
}

TEST(HugeScopeTest, TheRequestIsHugeUntilTheEnd)
{
    const RequestScope request("collect", "operator");
    const ThreadContextInfo ordinary = Current();
    {
        const HugeScope huge(HugeRequest().Asynchronous().AtMost(4).Of("perf/"));
        EXPECT_EQ(Current(), ordinary);  // the same request
        EXPECT_NE(Current().GetTskMode(), 0);
        EXPECT_EQ(Current().GetTskInfo(), "perf/collect");
        EXPECT_TRUE(HugeTaskMgr::Instance()->IsAynHTsk());
        EXPECT_FALSE(HugeTaskMgr::Instance()->IsSynHTsk());
    }
    EXPECT_EQ(Current().GetTskMode(), 0);
    EXPECT_EQ(Current().GetTskInfo(), "collect");
}

TEST(HugeScopeTest, IsSynchronousUnlessToldOtherwise)
{
    const HugeScope huge{HugeRequest()};
    EXPECT_TRUE(HugeTaskMgr::Instance()->IsSynHTsk());
}

TEST(HugeScopeTest, AtMostIsTheNumberThatMayRunAtOnce)
{
    const RequestScope request("collect");
    const HugeScope huge(HugeRequest().AtMost(2).Of("perf/"));
    const auto enterAnother = [] {
        ThreadContextInfo another = Current();
        another.SetOperUUID("");
        HugeTaskMgr::Instance()->SetHTskInfo(another);
    };
    enterAnother();
    EXPECT_FALSE(HugeTaskMgr::Instance()->IsOverSingleHTaskNum());
    enterAnother();
    EXPECT_TRUE(HugeTaskMgr::Instance()->IsOverSingleHTaskNum());
}

TEST(HugeScopeTest, WithoutAtMostAKindHasNoLimit)
{
    const HugeScope huge{HugeRequest()};
    EXPECT_LT(Current().GetTskNum(), 1);
}

TEST(HugeScopeTest, OneOfAKindCannotBeExpressed)
{
    EXPECT_THROW(HugeRequest().AtMost(1), std::invalid_argument);
}

TEST(ReasonOfTest, IsTheTextOfTheCatalogueOrTheCode)
{
    ErrorInfoMgr::Instance()->SetErrReasonByErrCode("There is no port of that name.", 0x4E420001);
    EXPECT_EQ(ReasonOf(0x4E420001), "There is no port of that name.");
    EXPECT_EQ(ReasonOf(ErrCode::TASK_CANCELLED), "0x4118000B");
}

}  // namespace
}  // namespace NS_UTIL
