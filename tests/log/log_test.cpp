#include "log/log.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "nbihost/bundlemgr.h"
#include "nbihost/recordinghost.h"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::RecordingHost;
using Texts = std::vector<std::string>;

constexpr SourceMark MARK{"module", 42};

class LogTest : public ::testing::Test {
protected:
    RecordingHost m_Host;
};

TEST_F(LogTest, LinePassesModuleFunctionLineLevelAndFormattedText)
{
    WriteLog(MARK, "[Class::Method] %s = %d", "value", 7);
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{{"module", "unknown", 42, 1, "[Class::Method] value = 7"}}));
}

TEST_F(LogTest, MarkOfACaughtExceptionBringsItsOwnFunction)
{
    WriteLog(SourceMark{"file", 3, "function"}, "text");
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"file", "function", 3, 1, "text"}}));
}

TEST_F(LogTest, HereGivesTheLineOfTheCall)
{
    constexpr SourceMark mark = Here("module");
    constexpr int nLine = __LINE__ - 1;
    EXPECT_EQ(mark.m_nLine, nLine);
    EXPECT_STREQ(mark.m_pFunction, "unknown");
}

TEST_F(LogTest, FactoryGetsItsTextsInOrderAndOnlyOnce)
{
    WriteLog(MARK, "one");
    WriteLog(MARK, "two");
    EXPECT_EQ(m_Host.FactoryCalls(), (std::vector<Texts>{{"kx_domain_bundle", "kx_domain_model", "debug"}}));
    EXPECT_EQ(m_Host.ServiceLookups(), 1u);
}

TEST_F(LogTest, EachChannelLooksUpAndCachesForItself)
{
    LogChannel other("unbi", "unbi", "debug");
    WriteLog(MARK, "one");
    other.Write(MARK, "two %d", 2);
    other.Write(MARK, "three");
    EXPECT_EQ(m_Host.FactoryCalls(), (std::vector<Texts>{{"kx_domain_bundle", "kx_domain_model", "debug"},
                                                         {"unbi", "unbi", "debug"}}));
    EXPECT_EQ(m_Host.Logs().size(), 3u);
}

TEST_F(LogTest, MissingServiceSkipsTheCallAndTheNextOneTriesAgain)
{
    m_Host.RegisterLogService(false);
    WriteLog(MARK, "lost");
    WriteLog(MARK, "lost too");
    EXPECT_EQ(m_Host.ServiceLookups(), 2u);
    m_Host.RegisterLogService(true);
    WriteLog(MARK, "kept");
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_Text, "kept");
}

TEST_F(LogTest, UnknownInterfaceSkipsTheCall)
{
    m_Host.ForgetLogInterface(true);
    WriteLog(MARK, "lost");
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(LogTest, ForeignServiceUnderTheNumberSkipsTheCall)
{
    m_Host.RegisterForeignService(true);
    WriteLog(MARK, "lost");
    m_Host.RegisterForeignService(false);
    WriteLog(MARK, "kept");
    EXPECT_EQ(m_Host.Logs().size(), 1u);
}

TEST_F(LogTest, FailingFactoryLeavesThePointerNull)
{
    m_Host.FailLogFactory(true);
    WriteLog(MARK, "lost");
    EXPECT_TRUE(m_Host.Logs().empty());
    m_Host.FailLogFactory(false);
    WriteLog(MARK, "kept");
    EXPECT_EQ(m_Host.FactoryCalls().size(), 2u);
    EXPECT_EQ(m_Host.Logs().size(), 1u);
}

TEST_F(LogTest, FailingServiceNeverThrowsIntoTheCaller)
{
    m_Host.FailLogCalls(true);
    EXPECT_NO_THROW(WriteLog(MARK, "text"));
}

TEST_F(LogTest, NullServiceObjectIsMadeOnce)
{
    using NS_BUNDLEMGR1::NULLServiceInterface;
    EXPECT_EQ(NULLServiceInterface::m_pInstance, nullptr);
    m_Host.RegisterLogService(false);
    WriteLog(MARK, "one");
    NULLServiceInterface* const pFirst = NULLServiceInterface::m_pInstance;
    ASSERT_NE(pFirst, nullptr);
    EXPECT_EQ(pFirst->GetName(), "NULLServiceInterface!");
    WriteLog(MARK, "two");
    EXPECT_EQ(NULLServiceInterface::m_pInstance, pFirst);
}

TEST_F(LogTest, ErrnoOfTheReportedFailureSurvives)
{
    m_Host.FailLogFactory(true);
    errno = ENOSPC;
    WriteLog(MARK, "text");
    EXPECT_EQ(errno, ENOSPC);
}

}  // namespace
}  // namespace NS_UTIL
