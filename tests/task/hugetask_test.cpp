#include "nbiutil/hugetask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <list>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/threadcontextmgr.h"
#include "support/heapwatch.h"
#include "support/lockfailure.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::LockKind;
using nbitest::LogLine;
using nbitest::NO_FAILING_LOCKS;
using nbitest::RecordingHost;
using Book = std::map<std::string, std::list<std::string>>;

constexpr const char* OVERALL_WARNING = "WARNING:[HugeTaskMgr]  IsOverHTaskNum ";

/// The context of a huge task. Its key in the book is "manager" followed by the interface.
ThreadContextInfo Task(const std::string& interfaceName, const std::string& uuid, int nNum = 1, int nType = 0)
{
    ThreadContextInfo info;
    info.SetInterfaceName(interfaceName);
    info.SetOperUUID(uuid);
    info.SetHugeTskInfo(nNum, nType, 1, "manager");
    return info;
}

LogLine Line(int nLine, const std::string& text)
{
    return {"hugetask", "unknown", nLine, 1, text};
}

class HugeTaskMgrTest : public ::testing::Test {
protected:
    ~HugeTaskMgrTest() override { HugeTaskMgr::Destroy(); }

    static HugeTaskMgr& Mgr() { return *HugeTaskMgr::Instance(); }

    /// Makes this thread serve such a request.
    static void Serve(const std::string& interfaceName, int nNum, int nType = 0)
    {
        ThreadContextMgr::Instance()->SetThreadContext(Task(interfaceName, "own", nNum, nType));
    }
    static void Enter(const std::string& interfaceName, const std::vector<std::string>& uuids)
    {
        for (const std::string& uuid : uuids) Mgr().SetHTskInfo(Task(interfaceName, uuid));
    }
    static Book Copy()
    {
        Book book{{"left", {"over"}}};
        Mgr().GetHuTaskMap(book);
        return book;
    }

    RecordingHost m_Host;
};

TEST_F(HugeTaskMgrTest, DestroyForgetsTasksAndLimit)
{
    Enter("a", {"1"});
    Mgr().Init(1);
    HugeTaskMgr::Destroy();
    EXPECT_EQ(Mgr().GetHTskNum(), 0u);
    EXPECT_TRUE(Copy().empty());
    EXPECT_FALSE(Mgr().IsOverHTaskNum());
}

// Kinds of requests

TEST_F(HugeTaskMgrTest, RequestIsSynchronousOrAsynchronousByItsTypeUnlessItsNumberIsNegative)
{
    struct Case {
        int m_nNum;
        int m_nType;
        bool m_bSynchronous;
        bool m_bAsynchronous;
    };
    constexpr int LEAST = -2147483647 - 1;
    for (const Case& given : std::vector<Case>{{0, -1, true, false},
                                               {1, -1, true, false},
                                               {2147483647, -1, true, false},
                                               {-1, -1, false, false},
                                               {LEAST, -1, false, false},
                                               {0, 0, false, true},
                                               {5, 0, false, true},
                                               {-1, 0, false, false},
                                               {0, 1, false, false},
                                               {0, -2, false, false},
                                               {0, LEAST, false, false}}) {
        Serve("a", given.m_nNum, given.m_nType);
        EXPECT_EQ(Mgr().IsSynHTsk(), given.m_bSynchronous) << given.m_nNum << ' ' << given.m_nType;
        EXPECT_EQ(Mgr().IsAynHTsk(), given.m_bAsynchronous) << given.m_nNum << ' ' << given.m_nType;
    }
}

TEST_F(HugeTaskMgrTest, KindIsThatOfTheCallingThread)
{
    Serve("a", 1, -1);
    std::thread([] {
        EXPECT_FALSE(Mgr().IsSynHTsk()) << "a thread without a request has type 0";
        EXPECT_TRUE(Mgr().IsAynHTsk());
    }).join();
    EXPECT_TRUE(Mgr().IsSynHTsk());
}

TEST_F(HugeTaskMgrTest, AskingForTheKindTakesNoLock)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    Serve("a", 1, -1);
    HugeTaskMgr& mgr = Mgr();
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_TRUE(mgr.IsSynHTsk());
    EXPECT_FALSE(mgr.IsAynHTsk());
    EXPECT_EQ(failing.Left(), 1);
}

// The overall limit

TEST_F(HugeTaskMgrTest, FreshBookIsEmptyAndBelowItsLimit)
{
    EXPECT_EQ(Mgr().GetHTskNum(), 0u);
    EXPECT_FALSE(Mgr().IsOverHTaskNum());
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(HugeTaskMgrTest, FourTasksUnderAnyKeysReachTheLimitOfTheStart)
{
    Enter("a", {"1", "2"});
    Enter("b", {"3"});
    EXPECT_EQ(Mgr().GetHTskNum(), 3u);
    EXPECT_FALSE(Mgr().IsOverHTaskNum());
    Enter("c", {"4"});
    m_Host.ClearLogs();
    EXPECT_TRUE(Mgr().IsOverHTaskNum());
    EXPECT_TRUE(Mgr().IsOverHTaskNum());
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{Line(221, OVERALL_WARNING), Line(221, OVERALL_WARNING)}))
        << "one line per call";
}

TEST_F(HugeTaskMgrTest, LimitZeroIsReachedByAnEmptyBook)
{
    Mgr().Init(0);
    EXPECT_TRUE(Mgr().IsOverHTaskNum());
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{Line(221, OVERALL_WARNING)}));
}

TEST_F(HugeTaskMgrTest, LimitIsComparedWithoutASign)
{
    Mgr().Init(static_cast<unsigned int>(-1));
    Enter("a", {"1", "2", "3", "4", "5"});
    EXPECT_FALSE(Mgr().IsOverHTaskNum());
}

TEST_F(HugeTaskMgrTest, LimitCanBeSetAgainAtAnyTime)
{
    Enter("a", {"1", "2", "3", "4"});
    Mgr().Init(5);
    EXPECT_EQ(Mgr().GetHTskMax(), 5U);
    EXPECT_FALSE(Mgr().IsOverHTaskNum());
    Mgr().Init(3);
    EXPECT_TRUE(Mgr().IsOverHTaskNum()) << "above the limit";
    Mgr().RemoveHTskInfo(Task("a", "1"));
    EXPECT_TRUE(Mgr().IsOverHTaskNum()) << "at the limit";
    Mgr().RemoveHTskInfo(Task("a", "2"));
    EXPECT_FALSE(Mgr().IsOverHTaskNum());
}

// The limit of a request's own kind

TEST_F(HugeTaskMgrTest, OwnKindIsOverOnlyBeyondItsLimit)
{
    Mgr().Init(100);
    Enter("a", {"1", "2"});
    Serve("a", 2);
    m_Host.ClearLogs();
    EXPECT_FALSE(Mgr().IsOverSingleHTaskNum()) << "at the limit";
    EXPECT_TRUE(m_Host.Logs().empty());
    Enter("a", {"3"});
    m_Host.ClearLogs();
    EXPECT_TRUE(Mgr().IsOverSingleHTaskNum());
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{Line(
                                 201, "[HugeTaskMgr]  IsOverSingleHTaskNum mastaer mapsize = 3 and func 2")}))
        << "the length and the limit";
}

TEST_F(HugeTaskMgrTest, OtherKindsDoNotCountForTheOwnLimit)
{
    Enter("a", {"1", "2", "3"});
    Serve("b", 1);
    EXPECT_FALSE(Mgr().IsOverSingleHTaskNum());
    Serve("a", 1);
    EXPECT_TRUE(Mgr().IsOverSingleHTaskNum());
}

TEST_F(HugeTaskMgrTest, KindIsManagerAndInterfaceTogether)
{
    Enter("a", {"1", "2"});
    ThreadContextInfo info = Task("", "own", 1);
    info.SetHugeTskInfo(1, 0, 1, "managera");
    ThreadContextMgr::Instance()->SetThreadContext(info);
    EXPECT_TRUE(Mgr().IsOverSingleHTaskNum()) << "the same text, divided otherwise";
}

TEST_F(HugeTaskMgrTest, NumberBelowOneSetsNoLimitAndLeavesTheBookAlone)
{
    Enter("a", {"1", "2"});
    const Book before = Copy();
    m_Host.ClearLogs();
    for (const int nNum : {0, -1, -2147483647 - 1}) {
        for (const char* const pInterface : {"a", "new"}) {
            Serve(pInterface, nNum);
            EXPECT_FALSE(Mgr().IsOverSingleHTaskNum()) << nNum;
        }
    }
    EXPECT_EQ(Copy(), before);
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(HugeTaskMgrTest, AskingForANewKindEntersItWithAnEmptyList)
{
    Serve("new", 1);
    EXPECT_FALSE(Mgr().IsOverSingleHTaskNum());
    EXPECT_EQ(Copy(), (Book{{"managernew", {}}}));
    EXPECT_EQ(Mgr().GetHTskNum(), 0u);
    EXPECT_TRUE(m_Host.Logs().empty());
}

// Entering

TEST_F(HugeTaskMgrTest, FirstTaskOfAKindIsEnteredAsNotFound)
{
    Enter("a", {"1"});
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}}));
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{
                  Line(67, "[HugeTaskMgr]  SetHTskInfo not found task uuid = 1 and func managera")}));
}

TEST_F(HugeTaskMgrTest, FirstTaskOfAKindThatWasAskedForIsEnteredAsFound)
{
    Serve("a", 1);
    Mgr().IsOverSingleHTaskNum();
    Enter("a", {"1"});
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}}));
    EXPECT_EQ(
        m_Host.Logs(),
        (std::vector<LogLine>{Line(74, "[HugeTaskMgr]  SetHTskInfo found task uuid = 1 and func managera")}));
}

TEST_F(HugeTaskMgrTest, FurtherTasksOfAKindGoToTheEndOfItsList)
{
    Enter("a", {"2"});
    m_Host.ClearLogs();
    Enter("a", {"1", "3"});
    EXPECT_EQ(Copy(), (Book{{"managera", {"2", "1", "3"}}}));
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{
                  Line(81, "[HugeTaskMgr]  SetHTskInfo  found differtask uuid = 1 and func managera"),
                  Line(81, "[HugeTaskMgr]  SetHTskInfo  found differtask uuid = 3 and func managera")}));
}

TEST_F(HugeTaskMgrTest, TaskIsNotEnteredTwice)
{
    Enter("a", {"1", "2"});
    m_Host.ClearLogs();
    Enter("a", {"1", "2"});
    EXPECT_EQ(Copy(), (Book{{"managera", {"1", "2"}}}));
    EXPECT_EQ(Mgr().GetHTskNum(), 2u);
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{Line(85, "[HugeTaskMgr]  SetHTskInfo same uuid = 1 and func managera"),
                                    Line(85, "[HugeTaskMgr]  SetHTskInfo same uuid = 2 and func managera")}));
}

TEST_F(HugeTaskMgrTest, SameTaskUnderTwoKindsCountsTwice)
{
    Enter("a", {"1"});
    Enter("b", {"1"});
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}, {"managerb", {"1"}}}));
    EXPECT_EQ(Mgr().GetHTskNum(), 2u);
}

TEST_F(HugeTaskMgrTest, TaskIsComparedAsAWhole)
{
    Enter("a", {"12", "1", "123"});
    EXPECT_EQ(Copy(), (Book{{"managera", {"12", "1", "123"}}}));
    Mgr().RemoveHTskInfo(Task("a", "1"));
    EXPECT_EQ(Copy(), (Book{{"managera", {"12", "123"}}}));
}

TEST_F(HugeTaskMgrTest, TaskIsEnteredUnderItsUUIDUpToTheFirstNul)
{
    Mgr().SetHTskInfo(Task("a", std::string("1\0x", 3)));
    Mgr().SetHTskInfo(Task("a", std::string("1\0y", 3)));
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}}));
}

TEST_F(HugeTaskMgrTest, EmptyKeyAndEmptyUUIDAreEntriesLikeOthers)
{
    const ThreadContextInfo nothing;
    Mgr().SetHTskInfo(nothing);
    EXPECT_EQ(Copy(), (Book{{"", {""}}}));
    EXPECT_EQ(Mgr().GetHTskNum(), 1u);
    Mgr().RemoveHTskInfo(nothing);
    EXPECT_TRUE(Copy().empty());
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{Line(67, "[HugeTaskMgr]  SetHTskInfo not found task uuid =  and func "),
                                    Line(114, "[HugeTaskMgr::RemoveHTskInfo]  task uuid =  and func ")}));
}

TEST_F(HugeTaskMgrTest, FormatCharactersAreLoggedAsText)
{
    Enter("%s%n", {"%d"});
    EXPECT_EQ(m_Host.Logs()[0].m_Text,
              "[HugeTaskMgr]  SetHTskInfo not found task uuid = %d and func manager%s%n");
}

TEST_F(HugeTaskMgrTest, ContextOfTheCallingThreadDoesNotCountWhenATaskIsEntered)
{
    Serve("b", 1);
    Enter("a", {"1"});
    Mgr().RemoveHTskInfo(Task("a", "2"));
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}}));
}

// Removing

TEST_F(HugeTaskMgrTest, RemovedTaskLeavesTheOthersInTheirOrder)
{
    Enter("a", {"1", "2", "3"});
    m_Host.ClearLogs();
    Mgr().RemoveHTskInfo(Task("a", "2"));
    EXPECT_EQ(Copy(), (Book{{"managera", {"1", "3"}}}));
    EXPECT_EQ(Mgr().GetHTskNum(), 2u);
    EXPECT_EQ(
        m_Host.Logs(),
        (std::vector<LogLine>{Line(114, "[HugeTaskMgr::RemoveHTskInfo]  task uuid = 2 and func managera")}));
}

TEST_F(HugeTaskMgrTest, LastTaskOfAKindTakesTheKindWithIt)
{
    Enter("a", {"1"});
    Enter("b", {"2"});
    m_Host.ClearLogs();
    Mgr().RemoveHTskInfo(Task("a", "1"));
    EXPECT_EQ(Copy(), (Book{{"managerb", {"2"}}}));
    EXPECT_EQ(
        m_Host.Logs(),
        (std::vector<LogLine>{Line(114, "[HugeTaskMgr::RemoveHTskInfo]  task uuid = 1 and func managera")}));
}

TEST_F(HugeTaskMgrTest, TaskOfAnUnknownKindIsOnlyLogged)
{
    Enter("a", {"1"});
    m_Host.ClearLogs();
    Mgr().RemoveHTskInfo(Task("b", "1"));
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}}));
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{Line(
                                 128, "[HugeTaskMgr::RemoveHTskInfo] nothing uuid = 1 and func managerb")}));
}

TEST_F(HugeTaskMgrTest, UnknownTaskOfAKnownKindIsOnlyLogged)
{
    Enter("a", {"1"});
    m_Host.ClearLogs();
    Mgr().RemoveHTskInfo(Task("a", "2"));
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}}));
    EXPECT_EQ(Mgr().GetHTskNum(), 1u);
    EXPECT_EQ(
        m_Host.Logs(),
        (std::vector<LogLine>{Line(118, "[HugeTaskMgr::RemoveHTskInfo]  no uuid = 2 and func managera")}));
}

TEST_F(HugeTaskMgrTest, KindWithAnEmptyListGoesWithoutALine)
{
    Serve("a", 1);
    Mgr().IsOverSingleHTaskNum();
    Mgr().RemoveHTskInfo(Task("a", "1"));
    EXPECT_TRUE(Copy().empty());
    EXPECT_TRUE(m_Host.Logs().empty());
    EXPECT_EQ(Mgr().GetHTskNum(), 0u);
}

TEST_F(HugeTaskMgrTest, CopyOfTheBookReplacesWhatWasThere)
{
    Enter("b", {"2"});
    Enter("a", {"1"});
    EXPECT_EQ(Copy(), (Book{{"managera", {"1"}}, {"managerb", {"2"}}}));
    Book copy = Copy();
    copy["managera"].clear();
    EXPECT_EQ(Mgr().GetHTskNum(), 2u) << "a copy is the caller's own";
}

// Failures

TEST_F(HugeTaskMgrTest, BookIsKeptWhenItsLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    HugeTaskMgr& mgr = Mgr();
    Serve("b", 1);
    const ThreadContextInfo task = Task("a", "1");
    Book book;
    m_Host.KeepLogs(false);
    const auto withFailingLock = [](auto call) {
        const FailingLocks failing(LockKind::MUTEX);
        call();
        return failing.Left() == 0;
    };
    EXPECT_TRUE(withFailingLock([&] { mgr.SetHTskInfo(task); }));
    EXPECT_EQ(mgr.GetHTskNum(), 1u);
    EXPECT_TRUE(withFailingLock([&] { EXPECT_FALSE(mgr.IsOverSingleHTaskNum()); }));
    EXPECT_TRUE(withFailingLock([&] { mgr.GetHuTaskMap(book); }));
    EXPECT_EQ(book, (Book{{"managera", {"1"}}, {"managerb", {}}}));
    EXPECT_TRUE(withFailingLock([&] { mgr.RemoveHTskInfo(task); }));
    EXPECT_EQ(mgr.GetHTskNum(), 0u);
    EXPECT_EQ(Copy(), (Book{{"managerb", {}}}));
}

TEST_F(HugeTaskMgrTest, TaskThatFindsNoMemoryIsNotCounted)
{
    const ThreadContextInfo task = Task("a", std::string(40, '1'));
    HugeTaskMgr& mgr = Mgr();
    nbitest::FailEachAllocation([&] { mgr.SetHTskInfo(task); },
                                [&] { EXPECT_EQ(mgr.GetHTskNum(), Copy()["managera"].size()); });
    EXPECT_EQ(mgr.GetHTskNum(), 1u);
}

TEST_F(HugeTaskMgrTest, TotalIsGivenWhenTheLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    Enter("a", {"1"});
    HugeTaskMgr& mgr = Mgr();
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_EQ(mgr.GetHTskNum(), 1u);
}

TEST_F(HugeTaskMgrTest, BookIsTheSameWithoutALogService)
{
    m_Host.RegisterLogService(false);
    Mgr().Init(2);
    Enter("a", {"1", "2", "2"});
    Mgr().RemoveHTskInfo(Task("a", "9"));
    Mgr().RemoveHTskInfo(Task("z", "9"));
    EXPECT_TRUE(Mgr().IsOverHTaskNum());
    Serve("a", 1);
    EXPECT_TRUE(Mgr().IsOverSingleHTaskNum());
    EXPECT_EQ(Copy(), (Book{{"managera", {"1", "2"}}}));
    Mgr().RemoveHTskInfo(Task("a", "1"));
    EXPECT_EQ(Copy(), (Book{{"managera", {"2"}}}));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(HugeTaskMgrTest, WithoutARegistryARequestHasTheDefaultContext)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    HugeTaskMgr& mgr = Mgr();
    const FailingLocks failing(LockKind::MUTEX, 3);
    EXPECT_FALSE(mgr.IsSynHTsk());
    EXPECT_TRUE(mgr.IsAynHTsk());
    EXPECT_FALSE(mgr.IsOverSingleHTaskNum());
    EXPECT_EQ(failing.Left(), 0);
}

}  // namespace
}  // namespace NS_UTIL
