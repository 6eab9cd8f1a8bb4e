#include "server/serving/servicemanager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "nbihost/recordinghost.h"
#include "northbound/servicesocket.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

using std::chrono::microseconds;

class ServiceManagerTest : public ::testing::Test {
protected:
    ~ServiceManagerTest() override
    {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
        unsetenv("WATCHDOG_PID");
    }

    static microseconds IntervalFor(const std::string& limit, const std::string& process)
    {
        setenv("WATCHDOG_USEC", limit.c_str(), 1);
        setenv("WATCHDOG_PID", process.c_str(), 1);
        return ServiceManager().BeatInterval();
    }

    nbitest::RecordingHost m_Host;
    const nbitest::TestDirectory m_Directory;
};

TEST_F(ServiceManagerTest, StatesArriveAtAFileAndAtANameOfTheKernels)
{
    for (const std::string& name : {m_Directory / "manager", "@nbi-" + std::to_string(getpid())}) {
        const ServiceSocket socket(name);
        const ServiceManager manager;
        manager.Tell("READY=1");
        EXPECT_EQ(socket.Next(), "READY=1") << name;
    }
}

TEST_F(ServiceManagerTest, ReloadTellsWhenItBegan)
{
    const ServiceSocket socket(m_Directory / "manager");
    ServiceManager().TellReloading();
    const std::string state = socket.Next();
    const std::string begin = "RELOADING=1\nMONOTONIC_USEC=";
    ASSERT_EQ(state.substr(0, begin.size()), begin);
    EXPECT_GT(std::stoll(state.substr(begin.size())), 0);
}

TEST_F(ServiceManagerTest, ProgramsThatAreStartedDoNotInheritTheManager)
{
    const ServiceSocket socket(m_Directory / "manager");
    setenv("WATCHDOG_USEC", "10", 1);
    setenv("WATCHDOG_PID", "1", 1);
    const ServiceManager manager;
    for (const char* const pName : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
        EXPECT_EQ(std::getenv(pName), nullptr) << pName;
    }
}

TEST_F(ServiceManagerTest, WithoutAManagerNothingIsSentOrLogged)
{
    const ServiceManager manager;
    manager.Tell("READY=1");
    manager.TellReloading();
    EXPECT_EQ(manager.BeatInterval(), microseconds::zero());
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ServiceManagerTest, StateThatCannotBeToldIsLogged)
{
    for (const std::string& name : {m_Directory / "nobody", std::string(200, 'x')}) {
        m_Host.ClearLogs();
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        ServiceManager().Tell("READY=1");
        EXPECT_EQ(m_Host.Logs().size(), 1u) << name;
    }
}

TEST_F(ServiceManagerTest, BeatsComeTwiceInTheManagersLimit)
{
    const std::string own = std::to_string(getpid());
    EXPECT_EQ(IntervalFor("3000000", own), microseconds(1500000));
    EXPECT_EQ(IntervalFor("3000000", ""), microseconds(1500000));
    EXPECT_EQ(IntervalFor("3000000", "1"), microseconds::zero());
    EXPECT_EQ(IntervalFor("soon", own), microseconds::zero());
    EXPECT_EQ(IntervalFor("-4", own), microseconds::zero());
}

}  // namespace
}  // namespace northbound
