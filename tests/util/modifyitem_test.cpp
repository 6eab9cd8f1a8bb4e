// SelfUtilCommon::modifyCorbaItemByCfg(): edits of configuration files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "support/inchild.h"
#include "util/helpers.h"

namespace NS_UTIL {
namespace {

using nbitest::LimitFileSize;
using nbitest::LogLine;
using nbitest::NOT_ROOT;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::Strings;

class ModifyItemTest : public nbitest::HelpersTest {};

TEST_F(ModifyItemTest, OptionLineGetsTheNewValue)
{
    m_Dir.Add("conf", "a\n-SSLVersion 1\n");
    EXPECT_TRUE(Modify("SSLVersion", "3"));
    EXPECT_EQ(m_Dir.Text("conf"), "a\n-SSLVersion 3\n");
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ModifyItemTest, EveryLineWithTheKeyIsReplaced)
{
    m_Dir.Add("conf", "# the port\nport=21\nhost=x");
    EXPECT_TRUE(Modify("port", "80"));
    EXPECT_EQ(m_Dir.Text("conf"), "port=80\nport=80\nhost=x");
}

TEST_F(ModifyItemTest, EmptyFileStaysEmpty)
{
    m_Dir.Add("conf", "");
    EXPECT_TRUE(Modify("port", "80"));
    EXPECT_EQ(m_Dir.Text("conf"), "");
}

TEST_F(ModifyItemTest, LinesOfALongFileAreDroppedBehindThe1024th)
{
    std::string text;
    std::string kept;
    for (int i = 0; i < 1030; ++i) {
        text += "line" + std::to_string(i) + "\n";
        if (i == 1023) kept = text.substr(0, text.size() - 1);
    }
    m_Dir.Add("conf", text);
    EXPECT_TRUE(Modify("port", "80"));
    EXPECT_EQ(m_Dir.Text("conf"), kept);
}

TEST_F(ModifyItemTest, FileThatCannotBeOpenedEndsTheEdit)
{
    EXPECT_FALSE(Modify("port", "80", "touch " + m_Dir / "ran" + " "));
    EXPECT_EQ(LogTexts(), (Strings{"[SelfUtilCommon::modifyCorbaItemByCfg] Fail to open file!"}));
    EXPECT_TRUE(m_Dir.Names().empty());
}

TEST_F(ModifyItemTest, CommandSeesTheOldFileHoweverLongItTakes)
{
    mkdir((m_Dir / "backup").c_str(), 0755);
    m_Dir.Add("conf", "port=21\n");
    EXPECT_TRUE(Modify("port", "80", "sh -c 'sleep 0.3; cp -t " + m_Dir / "backup" + " -- $0' "));
    EXPECT_EQ(m_Dir.Text("backup/conf"), "port=21\n");
    EXPECT_EQ(m_Dir.Text("conf"), "port=80\n");
}

TEST_F(ModifyItemTest, NoBlankIsPutBetweenPrefixAndPath)
{
    m_Dir.Add("conf", "port=21\n");
    EXPECT_TRUE(Modify("port", "80", "sh -c 'echo $0 > " + m_Dir / "out" + "' x"));
    EXPECT_EQ(m_Dir.Text("out"), "x" + m_Dir / "conf" + "\n");
}

TEST_F(ModifyItemTest, CommandRunsInTheCurrentDirectory)
{
    m_Dir.Add("conf", "port=21\n");
    EXPECT_TRUE(Modify("port", "80", "sh -c 'pwd -P > " + m_Dir / "out" + "' "));
    EXPECT_EQ(m_Dir.Text("out"), std::filesystem::canonical(".").string() + "\n");
}

TEST_F(ModifyItemTest, CommandThatCannotBeStartedIsLoggedAndTheFileWritten)
{
    m_Dir.Add("conf", "port=21\n");
    EXPECT_TRUE(Modify("port", "80", "no-such-program-anywhere "));
    EXPECT_EQ(m_Dir.Text("conf"), "port=80\n");
    EXPECT_EQ(LogTexts(), (Strings{FailedStart(ENOENT)[0],
                                   "[SelfUtilCommon::modifyCorbaItemByCfg] call StartProcess failed!"}));
}

TEST_F(ModifyItemTest, WhatTheCommandDoesToTheFileIsOverwritten)
{
    m_Dir.Add("conf", "port=21\n");
    EXPECT_TRUE(Modify("port", "80", "truncate -s 0 "));
    EXPECT_EQ(m_Dir.Text("conf"), "port=80\n");
    EXPECT_TRUE(Modify("port", "81", "rm "));
    EXPECT_EQ(m_Dir.Text("conf"), "port=81\n");
}

TEST_F(ModifyItemTest, LinkStaysALink)
{
    m_Dir.Add("real", "port=21\n");
    ASSERT_EQ(symlink("real", (m_Dir / "conf").c_str()), 0);
    EXPECT_TRUE(Modify("port", "80"));
    EXPECT_EQ(m_Dir.Text("real"), "port=80\n");
    EXPECT_TRUE(std::filesystem::is_symlink(m_Dir / "conf"));
}

TEST_F(ModifyItemTest, FileThatCannotBeOpenedForWritingGivesFalse)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "port=21\n", 0644);
    EXPECT_TRUE(PassesAsNobody([this] {
        EXPECT_FALSE(Modify("port", "80"));
        EXPECT_TRUE(m_Host.Logs().empty());
    }));
    EXPECT_EQ(m_Dir.Text("conf"), "port=21\n");
}

TEST_F(ModifyItemTest, ReadOnlyDirectoryDoesNotKeepAFileFromBeingEdited)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "port=21\n", 0666);
    chmod(m_Dir.Path().c_str(), 0555);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_TRUE(Modify("port", "80")); }));
    EXPECT_EQ(m_Dir.Text("conf"), "port=80\n");
}

TEST_F(ModifyItemTest, FullDiskGivesFalseOneLogLineAndTheOldFile)
{
    const std::string old = "port=21\n" + std::string(200, '#') + "\n";
    m_Dir.Add("conf", old);
    EXPECT_TRUE(PassesInChild([this] {
        LimitFileSize(100);
        EXPECT_FALSE(Modify("port", "a-secret"));
        EXPECT_EQ(LogTexts(),
                  (Strings{std::string("[SelfUtilCommon::modifyCorbaItemByCfg] Fail to store file! ") +
                           std::strerror(EFBIG)}));
    }));
    EXPECT_EQ(m_Dir.Text("conf"), old);
    EXPECT_EQ(m_Dir.Names(), (std::set<std::string>{"conf"}));
}

TEST_F(ModifyItemTest, FullDiskInAReadOnlyDirectoryLeavesTheOldFileToo)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    const std::string old = "port=21\n";
    m_Dir.Add("conf", old, 0666);
    chmod(m_Dir.Path().c_str(), 0555);
    EXPECT_TRUE(PassesAsNobody([this] {
        LimitFileSize(100);
        EXPECT_FALSE(Modify("port", std::string(500, '8')));
        EXPECT_EQ(m_Host.Logs().size(), 1u);
    }));
    EXPECT_EQ(m_Dir.Text("conf"), old);
}

TEST_F(ModifyItemTest, ValueIsNeverLogged)
{
    const std::string password = "plain-password";
    m_Dir.Add("conf", "-SSLPrivateKeyPasswd x\n");
    Modify("SSLPrivateKeyPasswd", password, "no-such-program-anywhere ");
    m_pHelpers->modifyCorbaItemByCfg("/dev/full", "SSLPrivateKeyPasswd", password, "");
    EXPECT_EQ(m_Dir.Text("conf"), "-SSLPrivateKeyPasswd " + password + "\n");
    EXPECT_GE(m_Host.Logs().size(), 3u);
    for (const LogLine& line : m_Host.Logs()) EXPECT_EQ(line.m_Text.find(password), std::string::npos);
}

}  // namespace
}  // namespace NS_UTIL
