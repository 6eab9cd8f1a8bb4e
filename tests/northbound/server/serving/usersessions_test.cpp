#include "server/serving/usersessions.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>

#include "nbihost/recordinghost.h"
#include "nbiutil/processexception.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

const std::string HOME = "192.0.2.1:7";

class UserSessionsTest : public ::testing::Test {
protected:
    UserSessionsTest()
    {
        AddUser("anna", "admin");
        AddUser("rita", "");
        m_Sessions.SetLimits({minutes(10), minutes(60)});
    }

    void AddUser(const std::string& name, const std::string& role)
    {
        m_Host.SetStr("Password_" + name, PasswordDigest(name, "sesame", 6));
        if (!role.empty()) m_Host.SetStr("Role_" + name, role);
    }

    std::string LogIn(const std::string& name, const std::string& password = "sesame")
    {
        NS_UTIL::UserPara user(name, "now", "", "", HOME);
        user.SetPwd(password);
        return m_Sessions.Open(user);
    }

    Caller With(const std::string& key, const std::string& address = HOME)
    {
        return m_Sessions.Identified({"mallory", address, false, key});
    }

    nbitest::RecordingHost m_Host;
    UserSessions::Clock::time_point m_Now = UserSessions::Clock::now();
    UserSessions m_Sessions{Role::NONE, [this] { return m_Now; }};
};

TEST_F(UserSessionsTest, KeyTellsTheUserAndItsRoleWhateverNameIsGiven)
{
    const Caller anna = With(LogIn("anna"));
    EXPECT_EQ(anna.m_User, "anna");
    EXPECT_EQ(anna.m_Role, Role::ADMIN);
}

TEST_F(UserSessionsTest, UserWithoutARoleReadsAndOneWithABadRoleDoesNothing)
{
    EXPECT_EQ(With(LogIn("rita")).m_Role, Role::READER);
    AddUser("otto", "root");
    EXPECT_EQ(With(LogIn("otto")).m_Role, Role::NONE);
}

TEST_F(UserSessionsTest, KeysAreAllDifferentAndHave128Bits)
{
    std::set<std::string> keys;
    for (int i = 0; i < 20; ++i) keys.insert(LogIn("anna"));
    EXPECT_EQ(keys.size(), 20u);
    for (const std::string& key : keys) {
        EXPECT_EQ(key.size(), 32u);
        EXPECT_EQ(key.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    }
}

TEST_F(UserSessionsTest, EncryptedKeyHoldsFromOtherAddressesToo)
{
    Caller elsewhere{"mallory", "192.0.2.2:7", false, LogIn("anna")};
    EXPECT_EQ(m_Sessions.Identified(elsewhere).m_Role, Role::NONE);
    elsewhere.m_bEncrypted = true;
    EXPECT_EQ(m_Sessions.Identified(elsewhere).m_Role, Role::ADMIN);
}

TEST_F(UserSessionsTest, WrongPasswordOpensNothing)
{
    EXPECT_THROW(LogIn("anna", "barley"), NS_UTIL::ProcessException);
    EXPECT_THROW(LogIn("nobody"), NS_UTIL::ProcessException);
    EXPECT_TRUE(m_Sessions.List().empty());
}

TEST_F(UserSessionsTest, KeyCountsOnlyFromTheAddressThatLoggedIn)
{
    const std::string key = LogIn("anna");
    EXPECT_EQ(With(key, "192.0.2.2:7").m_Role, Role::NONE);
    EXPECT_EQ(With(key, "[2001:db8::1]:7").m_Role, Role::NONE);
    EXPECT_FALSE(m_Sessions.Close({"anna", "192.0.2.2:7", false, key}));
    EXPECT_EQ(With(key, "192.0.2.1:8").m_Role, Role::ADMIN) << "another connection from there";
}

TEST_F(UserSessionsTest, SessionEndsWhenItIsNotUsedForTooLong)
{
    const std::string key = LogIn("anna");
    m_Now += minutes(10);
    EXPECT_EQ(With(key).m_Role, Role::ADMIN);
    m_Now += minutes(10);
    EXPECT_EQ(With(key).m_Role, Role::ADMIN) << "each request counts as use";
    m_Now += minutes(10) + seconds(1);
    EXPECT_EQ(With(key).m_Role, Role::NONE);
    EXPECT_TRUE(m_Sessions.List().empty());
}

TEST_F(UserSessionsTest, SessionEndsAfterItsLongestLifeHoweverMuchItIsUsed)
{
    const std::string key = LogIn("anna");
    for (int i = 0; i < 60; ++i, m_Now += minutes(1)) ASSERT_EQ(With(key).m_Role, Role::ADMIN);
    m_Now += seconds(1);
    EXPECT_EQ(With(key).m_Role, Role::NONE);
}

TEST_F(UserSessionsTest, LogoutEndsTheSession)
{
    const std::string key = LogIn("anna");
    const std::string other = LogIn("anna");
    EXPECT_TRUE(m_Sessions.Close(With(key)));
    EXPECT_FALSE(m_Sessions.Close(With(key)));
    EXPECT_EQ(With(key).m_Role, Role::NONE);
    EXPECT_EQ(With(other).m_Role, Role::ADMIN);
}

TEST_F(UserSessionsTest, UsersSessionsAreCountedAndTheOldestGivesWay)
{
    const std::string first = LogIn("anna");
    const std::string others = LogIn("rita");
    for (std::size_t i = 0; i < UserSessions::MAX_PER_USER; ++i) {
        m_Now += seconds(1);
        LogIn("anna");
    }
    EXPECT_EQ(With(first).m_Role, Role::NONE);
    EXPECT_EQ(With(others).m_Role, Role::READER);
    EXPECT_EQ(m_Sessions.List().size(), UserSessions::MAX_PER_USER + 1);
}

TEST_F(UserSessionsTest, LocalCallerIsAdminAndAnonymousOneWhatTheConfigurationSays)
{
    EXPECT_EQ(m_Sessions.Identified({"x", "local", true}).m_Role, Role::ADMIN);
    EXPECT_EQ(With("").m_Role, Role::NONE);
    EXPECT_EQ(UserSessions(Role::READER).Identified({"x", HOME, false}).m_Role, Role::READER);
    EXPECT_EQ(UserSessions(Role::READER).Identified({"x", HOME, false, "no key"}).m_Role, Role::NONE);
}

}  // namespace
}  // namespace northbound
