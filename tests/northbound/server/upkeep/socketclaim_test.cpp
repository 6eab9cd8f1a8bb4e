#include "server/upkeep/socketclaim.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/testdirectory.h"

namespace northbound {
namespace {

class SocketClaimTest : public ::testing::Test {
protected:
    /// Why \p path cannot be claimed; "" when it can.
    static std::string RefusalOf(const std::string& path, const std::string& group = "")
    {
        try {
            const SocketClaim claim(path, group);
        } catch (const SocketError& e) {
            return e.what();
        }
        return "";
    }

    void ExpectRefused(const std::string& why, const std::string& group = "") const
    {
        EXPECT_EQ(RefusalOf(m_Path, group), "cannot listen on unix:" + m_Path + ": " + why);
    }

    static std::string OwnGroup() { return getgrgid(getegid())->gr_name; }

    const nbitest::TestDirectory m_Place;
    const std::string m_Folder = m_Place / "own";
    const std::string m_Path = m_Folder + "/a.sock";
};

TEST_F(SocketClaimTest, FolderIsMadeClosedToOthers)
{
    const SocketClaim claim(m_Path);
    struct stat status {};
    ASSERT_EQ(stat(m_Folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(SocketClaimTest, PathIsOneServersAloneAndFreeAfterIt)
{
    {
        const SocketClaim claim(m_Path);
        ExpectRefused("another server serves there");
    }
    EXPECT_EQ(RefusalOf(m_Path), "");
}

TEST_F(SocketClaimTest, FolderThatIsOpenToOthersIsRefused)
{
    mkdir(m_Folder.c_str(), 0700);
    for (const unsigned int nMode : {0710U, 0701U, 0770U, 0755U}) {
        chmod(m_Folder.c_str(), nMode);
        ExpectRefused(m_Folder + " is open to other users; chmod 700 closes it");
    }
}

TEST_F(SocketClaimTest, FolderIsMadeForTheGroupThatIsNamed)
{
    const SocketClaim claim(m_Path, OwnGroup());
    struct stat status {};
    ASSERT_EQ(stat(m_Folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 02750U) << "and so is what is made in it";
    EXPECT_EQ(status.st_gid, getegid());
}

TEST_F(SocketClaimTest, FolderOfTheGroupMayNotBeOpenToMore)
{
    mkdir(m_Folder.c_str(), 0700);
    chmod(m_Folder.c_str(), 0750);
    EXPECT_EQ(RefusalOf(m_Path, OwnGroup()), "");
    for (const unsigned int nMode : {0770U, 0751U, 0754U}) {
        chmod(m_Folder.c_str(), nMode);
        ExpectRefused(m_Folder + " is open to other users; chmod 750 closes it", OwnGroup());
    }
    ASSERT_NE(OwnGroup(), "daemon");
    ExpectRefused(m_Folder + " belongs to another group", "daemon");
    ExpectRefused("there is no group no-such-group", "no-such-group");
}

TEST_F(SocketClaimTest, FolderThatIsALinkIsRefused)
{
    std::filesystem::create_directory_symlink(m_Place.Path(), m_Folder);
    ExpectRefused(m_Folder + " is no folder");
}

TEST_F(SocketClaimTest, FileThatIsNoSocketIsNotReplaced)
{
    mkdir(m_Folder.c_str(), 0700);
    nbitest::WriteFile(m_Path, "dear");
    ExpectRefused("something else has that name");
    EXPECT_EQ(nbitest::ReadFile(m_Path), "dear");
}

TEST_F(SocketClaimTest, PathThatIsNoSocketsIsRefused)
{
    EXPECT_NE(RefusalOf("/" + std::string(107, 'x')).find("longer than 107 bytes"), std::string::npos);
    EXPECT_NE(RefusalOf("relative").find("is no absolute path"), std::string::npos);
    EXPECT_NE(RefusalOf("/a:b").find("has one of the characters :,#@"), std::string::npos);
    EXPECT_NE(RefusalOf("/nowhere/at/all").find("the folder cannot be made"), std::string::npos);
    EXPECT_EQ(RefusalOf(""), "");
}

}  // namespace
}  // namespace northbound
