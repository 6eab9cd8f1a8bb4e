// Users that log in, what each may do, and the key between two runs of the client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "client/commands/secrets.h"
#include "northbound/programs/processmemory.h"
#include "northbound/programs/requests.h"
#include "shared/names.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::string ItemsOf(const std::string& user, const std::string& role)
{
    return "Password_" + user + " = " + PasswordDigest(user, PASSWORD.data(), PASSWORD.size()) + "\nRole_" +
           user + " = " + role + "\n";
}

/// A server that lets nobody in without a login, and knows a user of each role.
class SessionsTest : public ::testing::Test {
protected:
    SessionsTest()
    {
        setenv("XDG_RUNTIME_DIR", m_Runtime.Path().c_str(), 1);
        WriteFile(m_File, PASSWORD + "\n");
    }

    Outcome Ask(const std::string& user, std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--server", m_Server.Address(), "--user", user});
        return RunClient(arguments);
    }

    void LogIn(const std::string& user) const
    {
        const Outcome login = Ask(user, {"login", m_File});
        ASSERT_EQ(login.m_nExitCode, 0) << login.m_Error;
        EXPECT_EQ(login.m_Output, user + " is logged in\n");
    }

    void ExpectRefused(const std::string& user, const std::vector<std::string>& arguments,
                       const std::string& why) const
    {
        const Outcome outcome = Ask(user, arguments);
        EXPECT_EQ(outcome.m_nExitCode, 1) << user << ' ' << arguments[0];
        EXPECT_THAT(outcome.m_Error, HasSubstr(why)) << user << ' ' << arguments[0];
    }

    std::vector<fs::path> KeyFiles() const
    {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(m_Runtime.Path() + "/nbiutil")) {
            files.push_back(entry);
        }
        return files;
    }

    const TestDirectory m_Runtime;
    const std::string m_File = m_Runtime.Path() + "/password";
    Server m_Server{"Anonymous=none\n" + ItemsOf("rita", "reader") + ItemsOf("carl", "collector") +
                    ItemsOf("anna", "admin")};
};

TEST_F(SessionsTest, PasswordItemIsTheLineOfTheConfiguration)
{
    EXPECT_THAT(ItemsOf("anna", "admin"),
                HasSubstr(RunClient({"--user", "anna", "password-item", m_File}).m_Output));
}

TEST_F(SessionsTest, EachUserReachesAsFarAsItsRole)
{
    const std::string tooFar = "0x4E42000D: the role ";
    ExpectRefused("rita", {"inventory"}, "0x4E42000C: log in first");
    for (const char* pUser : {"rita", "carl", "anna"}) LogIn(pUser);
    const std::vector<std::string> collect{"collect", "lo", "-q", "-i", "0.01", "-d", "0.01"};
    EXPECT_EQ(Ask("rita", {"inventory"}).m_nExitCode, 0);
    ExpectRefused("rita", collect, tooFar + "reader");
    ExpectRefused("rita", {"sessions"}, tooFar + "reader");
    EXPECT_EQ(Ask("carl", collect).m_nExitCode, 0);
    ExpectRefused("rita", {"cancel", "x"}, tooFar + "reader");
    ExpectRefused("carl", {"config", "set", "HugeTaskLimit", "5"}, tooFar + "collector");
    ExpectRefused("carl", {"stop"}, tooFar + "collector");
    const Outcome sessions = Ask("anna", {"sessions"});
    EXPECT_THAT(sessions.m_Output, HasSubstr("\nrita  reader "));
    EXPECT_THAT(Ask("anna", {"--json", "sessions"}).m_Output,
                HasSubstr("{\"user\":\"anna\",\"role\":\"admin\",\"since\":"));
    EXPECT_EQ(Ask("anna", {"stop"}).m_nExitCode, 0);
}

/// The name of a user that has logged in opens nothing.
TEST_F(SessionsTest, NamingALoggedInUserIsNotEnough)
{
    LogIn("anna");
    const TestDirectory elsewhere;
    setenv("XDG_RUNTIME_DIR", elsewhere.Path().c_str(), 1);
    ExpectRefused("anna", {"stop"}, "0x4E42000C: log in first");
    ExpectRefused("anna", {"logout"}, "0x4E42000C: there is no such session");
}

TEST_F(SessionsTest, KeyIsInAFileOfTheUsersOwnUntilTheLogout)
{
    LogIn("anna");
    const std::vector<fs::path> files = KeyFiles();
    ASSERT_EQ(files.size(), 1u);
    struct stat status {};
    ASSERT_EQ(stat(files[0].c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_THAT(ReadFile(files[0]), ::testing::MatchesRegex("[0-9A-F]{32}"));
    EXPECT_EQ(Ask("anna", {"logout"}).m_Output, "anna is logged out\n");
    EXPECT_TRUE(KeyFiles().empty());
    ExpectRefused("anna", {"inventory"}, "0x4E42000C: log in first");
}

TEST_F(SessionsTest, KeyThatOthersMayReadIsNotUsed)
{
    LogIn("anna");
    chmod(KeyFiles().at(0).c_str(), 0644);
    const Outcome outcome = Ask("anna", {"inventory"});
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_THAT(outcome.m_Error, HasSubstr("is open to other users; remove it and log in again"));
}

TEST_F(SessionsTest, KeyThatTheServerDoesNotKnowSaysThatTheSessionIsOver)
{
    LogIn("anna");
    WriteFile(KeyFiles().at(0), std::string(32, 'A'));
    ExpectRefused("anna", {"inventory"}, "0x4E42000C: the session is over; log in again");
    LogIn("anna");
    EXPECT_EQ(Ask("anna", {"inventory"}).m_nExitCode, 0);
}

TEST_F(SessionsTest, WrongPasswordAndUnknownUserGetTheSameAnswer)
{
    WriteFile(m_File, "open barley");
    const Outcome wrong = Ask("anna", {"login", m_File});
    EXPECT_EQ(wrong.m_nExitCode, 1);
    EXPECT_THAT(wrong.m_Error,
                HasSubstr("0x4E42000C: the server does not know this user with this password"));
    EXPECT_EQ(Ask("bert", {"login", m_File}).m_Error, wrong.m_Error);
}

/// What was heard on the network opens no session.
TEST_F(SessionsTest, LoginThatIsSentAgainIsRefused)
{
    const Session session(m_Server.Address(), "anna");
    const std::string cipher = EncryptedLogin(session, m_File);
    const auto send = [&] {
        const CORBA::String_var key = session.Server()->Login(session.Who(), cipher.c_str());
    };
    EXPECT_EQ(FailureOf(send).code, 0u);
    const Northbound::OperationFailed again = FailureOf(send);
    EXPECT_EQ(again.code, ErrCode::NOT_LOGGED_IN);
    EXPECT_STREQ(again.detail.in(), "the login was sent before");
}

TEST_F(SessionsTest, AddressWhosePasswordsAreWrongHasToWaitAndNobodyElse)
{
    WriteFile(m_File, "open barley");
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(Ask("anna", {"login", m_File}).m_Error,
                    HasSubstr("does not know this user with this password"));
    }
    EXPECT_THAT(Ask("anna", {"login", m_File}).m_Error, HasSubstr("0x4E42000E: try again in "));
    EXPECT_EQ(Ask("anna", {"pubkey"}).m_nExitCode, 0);
    WriteFile(m_File, PASSWORD);
    EXPECT_TRUE(Eventually([&] { return Ask("anna", {"login", m_File}).m_nExitCode == 0; }));
}

TEST_F(SessionsTest, PasswordThatIsTooLongForALoginIsNamed)
{
    WriteFile(m_File, std::string(159, 'x'));
    EXPECT_THAT(Ask("anna", {"login", m_File}).m_Error, HasSubstr("the password is longer than 158 bytes"));
}

TEST_F(SessionsTest, NeitherPasswordNorKeyIsInTheLogOrInTheServersMemory)
{
    LogIn("anna");
    const std::string key = ReadFile(KeyFiles().at(0));
    Ask("anna", {"inventory"});
    for (const LoggedLine& line : m_Server.Log()) EXPECT_FALSE(line.Has(PASSWORD) || line.Has(key));
    const ProcessMemory memory(m_Server.Process().Id());
    if (!memory.IsReadable()) GTEST_SKIP() << "the system keeps the server's memory from this test";
    EXPECT_EQ(memory.Count(PASSWORD), 0u);
}

}  // namespace
}  // namespace northbound
