#include "base/filehandle.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/inchild.h"
#include "support/testdirectory.h"

namespace {

bool g_bNoStreams = false;

}  // namespace

extern "C" std::FILE* fdopen(int nHandle, const char* pMode) noexcept
{
    if (g_bNoStreams) {
        errno = ENOMEM;
        return nullptr;
    }
    return reinterpret_cast<decltype(&fdopen)>(dlsym(RTLD_NEXT, "fdopen"))(nHandle, pMode);
}

namespace NS_UTIL {
namespace {

using nbitest::PassesInChild;
using nbitest::TestDirectory;

class OpenFileTest : public ::testing::Test {
protected:
    const TestDirectory m_Folder;
    const std::string m_Path = m_Folder.Add("file", "text");
};

/// From now on files get the lowest numbers first. For use in a child.
void CloseStandardStreams()
{
    for (int nHandle = STDIN_FILENO; nHandle <= STDERR_FILENO; ++nHandle) close(nHandle);
}

TEST_F(OpenFileTest, ChildrenDoNotInheritTheFile)
{
    const FileHandle file(OpenFile(m_Path.c_str(), O_RDONLY));
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(fcntl(file.Get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(OpenFileTest, StandardStreamsThatAreClosedStayClosed)
{
    EXPECT_TRUE(PassesInChild([this] {
        CloseStandardStreams();
        const FileHandle file(OpenFile(m_Path.c_str(), O_RDONLY));
        EXPECT_GT(file.Get(), STDERR_FILENO);
        EXPECT_EQ(fcntl(file.Get(), F_GETFD), FD_CLOEXEC);
        for (int nHandle = STDIN_FILENO; nHandle <= STDERR_FILENO; ++nHandle) {
            EXPECT_EQ(fcntl(nHandle, F_GETFD), -1) << nHandle;
        }
        char text[5] = {};
        EXPECT_EQ(read(file.Get(), text, 4), 4);
        EXPECT_STREQ(text, "text");
    }));
}

TEST_F(OpenFileTest, NoNumberAboveTheStandardStreamsIsAFailureThatLeavesNothingOpen)
{
    EXPECT_TRUE(PassesInChild([this] {
        close(STDIN_FILENO);
        const rlimit limit{STDERR_FILENO + 1, STDERR_FILENO + 1};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        EXPECT_EQ(OpenFile(m_Path.c_str(), O_RDONLY), -1);
        EXPECT_TRUE(errno == EMFILE || errno == EINVAL) << errno;
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
        EXPECT_EQ(OpenForReading(m_Path.c_str()), nullptr);
    }));
}

TEST_F(OpenFileTest, FileIsMadeWithItsPermissions)
{
    const std::string path = m_Folder / "new";
    const FileHandle file(OpenFile(path.c_str(), O_WRONLY | O_CREAT, S_IRUSR));
    struct stat status = {};
    ASSERT_EQ(fstat(file.Get(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, static_cast<mode_t>(S_IRUSR));
}

TEST_F(OpenFileTest, WhatIsNotThereHasNoHandleAndNoStream)
{
    const std::string path = m_Folder / "none";
    EXPECT_EQ(OpenFile(path.c_str(), O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(OpenForReading(path.c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(OpenFileTest, StreamReadsTheFileAboveTheStandardStreams)
{
    EXPECT_TRUE(PassesInChild([this] {
        CloseStandardStreams();
        const FileStream stream = OpenForReading(m_Path.c_str());
        ASSERT_NE(stream, nullptr);
        EXPECT_GT(fileno(stream.get()), STDERR_FILENO);
        char text[10] = {};
        EXPECT_EQ(std::fread(text, 1, sizeof(text), stream.get()), 4U);
        EXPECT_STREQ(text, "text");
    }));
}

TEST_F(OpenFileTest, FileThatBecomesNoStreamIsClosed)
{
    EXPECT_TRUE(PassesInChild([this] {
        const int nFree = OpenFile(m_Path.c_str(), O_RDONLY);
        close(nFree);
        g_bNoStreams = true;
        EXPECT_EQ(OpenForReading(m_Path.c_str()), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(fcntl(nFree, F_GETFD), -1);
    }));
}

TEST_F(OpenFileTest, ErrorStreamThatAloneIsClosedStaysClosed)
{
    EXPECT_TRUE(PassesInChild([this] {
        close(STDERR_FILENO);
        const FileHandle file(OpenFile(m_Path.c_str(), O_RDONLY));
        EXPECT_GT(file.Get(), STDERR_FILENO);
        EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFD), -1);
    }));
}

TEST(FileHandleTest, FileIsClosedAtTheEnd)
{
    int nHandle = -1;
    {
        const FileHandle file(OpenFile("/dev/null", O_RDONLY));
        ASSERT_TRUE(file.IsOpen());
        nHandle = file.Get();
    }
    EXPECT_EQ(fcntl(nHandle, F_GETFD), -1);
}

TEST(FileHandleTest, NumberZeroIsAFileToo)
{
    EXPECT_TRUE(PassesInChild([] {
        EXPECT_TRUE(FileHandle(STDIN_FILENO).IsOpen());
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    }));
}

TEST(AboveStandardStreamsTest, HandleThatIsAboveOrNoneStaysAsItIs)
{
    const FileHandle file(OpenFile("/dev/null", O_RDONLY));
    EXPECT_EQ(AboveStandardStreams(file.Get()), file.Get());
    EXPECT_EQ(AboveStandardStreams(-1), -1);
}

}  // namespace
}  // namespace NS_UTIL
