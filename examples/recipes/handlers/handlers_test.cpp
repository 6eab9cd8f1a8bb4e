#include "handlers.h"

#include <gtest/gtest.h>
#include <nbihost/bundlemgr.h>
#include <nbihost/recordinghost.h>
#include <nbiutil/async.h>

#include <string>

namespace {

template <class Call>
unsigned int CodeOf(Call call)
{
    try {
        call();
    } catch (const NS_UTIL::ProcessException& failure) {
        return failure.GetErrorCode();
    }
    return 0;
}

// [fixture]
class HandlersTest : public ::testing::Test {
protected:
    HandlersTest()
    {
        m_Host.SetRoot("/opt/ports");
        m_Host.SetCfgFile("/opt/ports/ports.res", {{"eth0", "1000"}, {"eth1", "100"}});
    }

    nbitest::RecordingHost m_Host;  // every setting as at first, no lines
};
// [fixture]

// [files]
TEST_F(HandlersTest, SpeedIsTheFiles)
{
    EXPECT_EQ(SpeedOf("eth1"), 100);
    EXPECT_EQ(CodeOf([] { SpeedOf("eth9"); }), NO_SUCH_PORT);
}
// [files]

// [failure]
TEST_F(HandlersTest, FileThatCannotBeReadIsLogged)
{
    m_Host.SetCfgFile("/opt/ports/ports.res", {}, false);
    EXPECT_EQ(CodeOf([] { SpeedOf("eth0"); }), NO_SUCH_PORT);
    ASSERT_EQ(m_Host.LogsOf("handlers").size(), 1U);
    EXPECT_EQ(m_Host.LogsOf("handlers")[0].m_Text, "/opt/ports/ports.res cannot be read");
}
// [failure]

// [items]
TEST_F(HandlersTest, LimitIsTheItems)
{
    EXPECT_EQ(AskForSpeed("eth0"), 1000);
    m_Host.SetInt("SpeedTasks", 0);
    EXPECT_EQ(CodeOf([] { AskForSpeed("eth0"); }), NS_UTIL::ErrCode::QUEUE_FULL);
}
// [items]

// [stop]
TEST_F(HandlersTest, TaskThatComesAfterTheStopDoesNotRun)
{
    m_Host.SetState(NS_BUNDLEMGR1::FRAMEWORK_STOPPING);
    EXPECT_NE(CodeOf([] { AskForSpeed("eth0"); }), 0U);
    EXPECT_TRUE(m_Host.CfgFilesRead().empty());
}
// [stop]

}  // namespace
