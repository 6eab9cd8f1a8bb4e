#include "server/upkeep/lockfile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/testdirectory.h"

namespace northbound {
namespace {

class LockFileTest : public ::testing::Test {
protected:
    const nbitest::TestDirectory m_Folder;
    const std::string m_Path = m_Folder / "a.lock";
};

TEST_F(LockFileTest, IsOneHoldersAloneAndNamesItsProcess)
{
    const LockFile first(m_Path);
    EXPECT_TRUE(first.IsHeld());
    EXPECT_EQ(first.Holder(), "");
    const LockFile second(m_Path);
    EXPECT_FALSE(second.IsHeld());
    EXPECT_EQ(second.Fault(), "");
    EXPECT_EQ(second.Holder(), std::to_string(getpid()));
}

TEST_F(LockFileTest, WhatStaysBehindMeansNothing)
{
    nbitest::WriteFile(m_Path, "123456789012345678901234567890 and more");
    EXPECT_TRUE(LockFile(m_Path).IsHeld());
    EXPECT_TRUE(LockFile(m_Path).IsHeld());
    EXPECT_EQ(nbitest::ReadFile(m_Path), std::to_string(getpid()) + "\n");
}

TEST_F(LockFileTest, HolderWithoutANumberIsAnother)
{
    const LockFile first(m_Path);
    nbitest::WriteFile(m_Path, "");
    EXPECT_EQ(LockFile(m_Path).Holder(), "another");
}

TEST_F(LockFileTest, FileThatCannotBeOpenedIsToldAndNotHeld)
{
    const LockFile lock(m_Folder / "nowhere/a.lock");
    EXPECT_FALSE(lock.IsHeld());
    EXPECT_EQ(lock.Fault(), m_Folder / "nowhere/a.lock cannot be opened: No such file or directory");
    std::filesystem::create_symlink(m_Folder / "elsewhere", m_Path);
    EXPECT_FALSE(LockFile(m_Path).IsHeld()) << "a link would lead others' files here";
}

}  // namespace
}  // namespace northbound
