// nbi-server --migrate, which loads the plug-in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "northbound/server/cluster/privateengine.h"
#include "server/cluster/engineconnection.h"
#include "server/cluster/schema.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class BookPluginTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!HasEngine()) GTEST_SKIP() << NO_ENGINE;
        m_pEngine = &SharedEngine();
    }

    /// \return the exit code
    int Migrate(const std::string& connection)
    {
        const std::string output = m_Folder / "output";
        const std::string command = NBI_SERVER " --migrate '" + connection + "' >" + output + " 2>&1";
        const int nStatus = std::system(command.c_str());
        m_Said = nbitest::ReadFile(output);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }

    SchemaState State() const
    {
        EngineLimits limits;
        limits.m_Call = std::chrono::minutes(1);
        EngineConnection connection(m_pEngine->Text(), limits);
        return StateOfSchema(connection);
    }

    PrivateEngine* m_pEngine = nullptr;
    nbitest::TestDirectory m_Folder;
    std::string m_Said;
};

TEST_F(BookPluginTest, DatabaseIsMigratedAndMayBeAgain)
{
    EXPECT_EQ(Migrate(m_pEngine->Text()), 0) << m_Said;
    EXPECT_EQ(State(), SchemaState::CURRENT);
    EXPECT_EQ(Migrate(m_pEngine->Text()), 0) << m_Said;
}

TEST_F(BookPluginTest, DatabaseThatRefusesIsBadInput)
{
    EXPECT_EQ(Migrate(m_pEngine->Text()), 0) << m_Said;
    EngineConnection(m_pEngine->Text()).Execute("UPDATE nbi.schema SET version = 7");
    EXPECT_EQ(Migrate(m_pEngine->Text()), 2);
    EXPECT_THAT(m_Said, HasSubstr("version 7"));
    EXPECT_EQ(Migrate("host=" + m_pEngine->Folder() + " user=postgres password=needle"), 2);
    EXPECT_THAT(m_Said, HasSubstr("password file"));
    EXPECT_THAT(m_Said, Not(HasSubstr("needle")));
}

TEST_F(BookPluginTest, DatabaseThatCannotBeReachedHasItsOwnCode)
{
    EXPECT_EQ(Migrate("host=" + m_Folder.Path()), 3);
    EXPECT_THAT(m_Said, HasSubstr(m_Folder.Path()));
}

}  // namespace
}  // namespace northbound
