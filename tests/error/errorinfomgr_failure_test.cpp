// The catalogue of reasons where something fails: the host, a lock, memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/errorinfomgr.h"
#include "support/heapwatch.h"
#include "support/lockfailure.h"
#include "support/testdirectory.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::LockKind;
using nbitest::NO_FAILING_LOCKS;
using nbitest::RecordingHost;
using ::testing::IsEmpty;

/// An installation root without any directory of resource files.
class ErrorInfoMgrFailureTest : public ::testing::Test {
protected:
    ErrorInfoMgrFailureTest() { m_Host.SetRoot("/none"); }
    ~ErrorInfoMgrFailureTest() override { ErrorInfoMgr::Destroy(); }

    static std::string ReasonOf(unsigned long nCode)
    {
        std::string reason = "left from before";
        ErrorInfoMgr::Instance()->GetErrReasonByErrCode(reason, nCode);
        return reason;
    }

    static constexpr const char* STATIC_DATA = "/none/../nbi/corba/res/staticdata/en_US/errcode_TAVO_TDT.res";

    RecordingHost m_Host;
};

TEST_F(ErrorInfoMgrFailureTest, FileThatTheHostThrowsForIsAnUnreadableOne)
{
    nbitest::TestDirectory top;
    const std::string directory = top / "etc/nbires/en_US/";
    std::filesystem::create_directories(top / "server");
    std::filesystem::create_directories(directory);
    nbitest::WriteFile(directory + "stray", "");
    const std::string root = top / "server";
    const std::string stray = root + "/../etc/nbires/en_US/stray";
    m_Host.SetRoot(root);
    m_Host.SetCfgFile(stray, {{"1", "read before the failure"}});
    m_Host.FailCfgFile(stray);
    m_Host.SetCfgFile(root + "/../nbi/corba/res/staticdata/en_US/errcode_TAVO_TDT.res", {{"2", "static"}});
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_EQ(ReasonOf(1), "read before the failure");
    EXPECT_EQ(ReasonOf(2), "static");
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_nLine, 74);
    EXPECT_THAT(m_Host.Logs()[0].m_Text, ::testing::EndsWith("failed to read file = " + stray));
}

TEST_F(ErrorInfoMgrFailureTest, FileWhoseEntriesFindNoRoomIsAnUnreadableOne)
{
    m_Host.SetCfgFile("f", {{"1", std::string(100, 'a')}, {"2", std::string(100, 'b')}});
    ErrorInfoMgr* pCatalogue = ErrorInfoMgr::Instance();
    pCatalogue->ReadErrorInfoFrmCfg("/no/such/file");  // the log service is made
    const auto ReadOnce = [&] {
        m_Host.ClearLogs();
        pCatalogue->ReadErrorInfoFrmCfg("f");
    };
    int nReported = 0;
    int nRuns = 0;
    nbitest::FailEachAllocation(ReadOnce, [&] {
        ++nRuns;
        nReported += static_cast<int>(m_Host.LogsAt("errorinfomgr", 74).size());
        ErrorInfoMgr::Destroy();
        pCatalogue = ErrorInfoMgr::Instance();
    });
    EXPECT_GE(nRuns, 4);
    EXPECT_EQ(nReported, nRuns - 1) << "all but the last, in which nothing failed";
    ReadOnce();
    EXPECT_EQ(ReasonOf(2), std::string(100, 'b'));
}

TEST_F(ErrorInfoMgrFailureTest, UnreadableFileIsLoggedOutsideTheCataloguesLock)
{
    m_Host.SetCfgFile("f", {{"5", "new"}}, false);
    ErrorInfoMgr::Instance()->SetErrReasonByErrCode("old", 5);
    std::string seen;
    int nError = 0;
    m_Host.OnLogCalls([&] {
        errno = 0;
        seen = ReasonOf(5);
        nError = errno;  // what a thread gets that waits for a lock of its own
    });
    ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("f");
    EXPECT_EQ(seen, "old") << "logged before the entries go in";
    EXPECT_EQ(nError, 0);
}

TEST_F(ErrorInfoMgrFailureTest, EntriesOfAFileGoInUnderOneLock)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    m_Host.SetCfgFile("f", {{"1", "a"}, {"2", "b"}, {"3", "c"}});
    ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance();
    constexpr int MANY = 100;
    const FailingLocks failing(LockKind::WRITE, MANY, EDEADLK);
    pCatalogue->ReadErrorInfoFrmCfg("f");
    EXPECT_EQ(failing.Left(), MANY - 1);
}

TEST_F(ErrorInfoMgrFailureTest, DirectoryIsClosedBehindALoad)
{
    nbitest::TestDirectory top;
    std::filesystem::create_directories(top / "server");
    std::filesystem::create_directories(top / "etc/nbires/en_US");
    m_Host.SetRoot(top / "server");
    const auto OpenFiles = [] {
        using Listing = std::filesystem::directory_iterator;
        return std::distance(Listing("/proc/self/fd"), Listing());
    };
    const auto nBefore = OpenFiles();
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_EQ(OpenFiles(), nBefore);
}

TEST_F(ErrorInfoMgrFailureTest, LoadGoesOnWhenTheLoadLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    m_Host.SetCfgFile(STATIC_DATA, {{"3", "static"}});
    ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance();
    {
        const FailingLocks failing(LockKind::WRITE, 1, EDEADLK);
        pCatalogue->LoadErrorInfoFrmCfg(true);
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_EQ(ReasonOf(3), "static");
}

TEST_F(ErrorInfoMgrFailureTest, EntriesOfAFileGoInWhenTheCatalogueLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    m_Host.SetCfgFile("f", {{"3", "entered"}});
    ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance();
    errno = 0;
    {
        const FailingLocks failing(LockKind::WRITE, 1, EDEADLK);
        pCatalogue->ReadErrorInfoFrmCfg("f");
    }
    EXPECT_EQ(errno, EDEADLK);
    EXPECT_EQ(ReasonOf(3), "entered");
}

TEST_F(ErrorInfoMgrFailureTest, SetGoesOnWhenTheLockFailsAndLeavesTheErrorNumber)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance();
    errno = 0;
    {
        const FailingLocks failing(LockKind::WRITE, 1, EDEADLK);
        pCatalogue->SetErrReasonByErrCode("x", 5);
    }
    EXPECT_EQ(errno, EDEADLK);
    EXPECT_EQ(ReasonOf(5), "x");
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(ErrorInfoMgrFailureTest, GetGoesOnWhenTheLockFailsAndLeavesTheErrorNumber)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance();
    pCatalogue->SetErrReasonByErrCode("x", 5);
    std::string reason;
    errno = 0;
    {
        const FailingLocks failing(LockKind::READ, 1, EAGAIN);
        pCatalogue->GetErrReasonByErrCode(reason, 5);
    }
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(reason, "x");
}

}  // namespace
}  // namespace NS_UTIL
