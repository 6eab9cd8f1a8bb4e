#include "util/commandline.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <string.h>  // memmem

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/selfutilcommon.h"
#include "nbiutil/zipfile.h"
#include "support/testdirectory.h"

namespace {

constexpr const char SECRET[] = "s3cr3t-w0rd";

/// While it is on, storage that still holds SECRET when it is released is counted.
std::atomic<bool> g_bWatch{false};
std::atomic<int> g_nLeaks{0};

void* Allocate(std::size_t nSize)
{
    if (void* const pStorage = std::malloc(nSize == 0 ? 1 : nSize)) return pStorage;
    throw std::bad_alloc();
}

void Release(void* pStorage)
{
    if (g_bWatch && pStorage != nullptr &&
        memmem(pStorage, malloc_usable_size(pStorage), SECRET, sizeof SECRET - 1) != nullptr) {
        ++g_nLeaks;
    }
    std::free(pStorage);
}

}  // namespace

void* operator new(std::size_t nSize)
{
    return Allocate(nSize);
}
void* operator new[](std::size_t nSize)
{
    return Allocate(nSize);
}
// The nothrow forms, too: a sanitizer brings its own, whose storage must not go back to free().
void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept
{
    return std::malloc(nSize == 0 ? 1 : nSize);
}
void* operator new[](std::size_t nSize, const std::nothrow_t&) noexcept
{
    return std::malloc(nSize == 0 ? 1 : nSize);
}
void operator delete(void* pStorage) noexcept
{
    Release(pStorage);
}
void operator delete[](void* pStorage) noexcept
{
    Release(pStorage);
}
void operator delete(void* pStorage, std::size_t) noexcept
{
    Release(pStorage);
}
void operator delete[](void* pStorage, std::size_t) noexcept
{
    Release(pStorage);
}

namespace NS_UTIL {
namespace {

using nbitest::RecordingHost;
using nbitest::TestDirectory;

/// A command of \p nWords words.
std::string Words(std::size_t nWords)
{
    std::string command = "true";
    for (std::size_t i = 1; i < nWords; ++i) command += " x";
    return command;
}

/// A command of \p nLength characters.
std::string OfLength(std::size_t nLength)
{
    return "true " + std::string(nLength - 5, 'x');
}

class CommandLineTest : public ::testing::Test {
protected:
    void SetUp() override { g_nLeaks = 0; }

    TestDirectory m_Dir;
};

TEST_F(CommandLineTest, CommandThatAceHandsOverWholeHasNoError)
{
    EXPECT_EQ(CommandError("", "true"), 0);
    EXPECT_EQ(CommandError("/no/such/folder", "no-such-program with words"), 0);
    EXPECT_EQ(CommandError(".", "/bin/sh -c 'exit 3'"), 0);
}

TEST_F(CommandLineTest, LongestCommandIs1023Characters)
{
    EXPECT_EQ(CommandError("", OfLength(1023)), 0);
    EXPECT_EQ(CommandError("", OfLength(1024)), E2BIG);
}

TEST_F(CommandLineTest, MostWordsAre127)
{
    EXPECT_EQ(CommandError("", Words(127)), 0);
    EXPECT_EQ(CommandError("", Words(128)), E2BIG);
}

TEST_F(CommandLineTest, QuotedWordsCountOnceAsAceSplitsThem)
{
    EXPECT_EQ(CommandError("", Words(126) + " 'x x x x'"), 0);
    EXPECT_EQ(CommandError("", Words(126) + " \"x x x x\""), 0);
    EXPECT_EQ(CommandError("", Words(127) + " 'x x'"), E2BIG);
}

TEST_F(CommandLineTest, WordCountAgreesWithTheOptionsForEveryShapeOfText)
{
    for (const std::string word : {"x", "'a b'", "\"a b\"", "a'b c'd", "a\"b c\"d", "''", "x\ty", "it's"}) {
        std::string command = "true";
        std::size_t nWords = 0;
        do {
            ChildOptions options;
            options.SetCommand(command);
            for (nWords = 0; options.command_line_argv()[nWords] != nullptr;) ++nWords;
            ASSERT_EQ(CommandError("", command), 0) << command;
            command += ' ' + word;
        } while (nWords < MAX_COMMAND_WORDS && command.size() <= MAX_COMMAND_LENGTH && word != "it's");
        if (nWords == MAX_COMMAND_WORDS) {
            EXPECT_EQ(CommandError("", command), E2BIG) << command;
        }
    }
}

TEST_F(CommandLineTest, CommandWithoutAWordIsInvalid)
{
    EXPECT_EQ(CommandError("", ""), EINVAL);
    EXPECT_EQ(CommandError("", "    "), EINVAL);
    EXPECT_EQ(CommandError("", "''"), 0);  // an empty word is a program that nobody finds
}

TEST_F(CommandLineTest, ZeroByteIsInvalid)
{
    EXPECT_EQ(CommandError("", std::string("true\0x", 6)), EINVAL);
    EXPECT_EQ(CommandError(std::string("/tmp\0x", 6), "true"), EINVAL);
}

TEST_F(CommandLineTest, OptionsTakeACommandLiterally)
{
    ChildOptions options;
    options.SetCommand("a %s %d %n \\n");
    EXPECT_STREQ(options.command_line_buf(), "a %s %d %n \\n");
    EXPECT_TRUE(options.inherit_environment());
}

TEST_F(CommandLineTest, OptionsHold1023Characters)
{
    ChildOptions options;
    options.SetCommand(OfLength(1023));
    std::size_t nSize = 0;
    EXPECT_EQ(std::strlen(options.command_line_buf(&nSize)), 1023u);
    EXPECT_EQ(nSize, 1024u);
}

TEST_F(CommandLineTest, OptionsHold127Words)
{
    ChildOptions options;
    options.SetCommand(Words(128));
    EXPECT_STREQ(options.command_line_argv()[126], "x");
    EXPECT_EQ(options.command_line_argv()[127], nullptr);
}

TEST_F(CommandLineTest, OptionsHoldADirectoryOf4096Characters)
{
    ChildOptions options;
    EXPECT_TRUE(options.SetWorkingDirectory(std::string(4096, 'd')));
    EXPECT_EQ(options.working_directory(), std::string(4096, 'd'));
    ChildOptions other;
    EXPECT_FALSE(other.SetWorkingDirectory(std::string(4097, 'd')));
    EXPECT_EQ(other.working_directory(), nullptr);
}

TEST_F(CommandLineTest, FailingCopyOfTheDirectoryIsARefusal)
{
    RecordingHost host;
    ChildOptions options;
    host.FailMemcpy(1);
    EXPECT_FALSE(options.SetWorkingDirectory("/tmp"));
}

TEST_F(CommandLineTest, OptionsWipeEveryCopyThatTheyRelease)
{
    const std::string command = std::string(SECRET) + " --password=" + SECRET;
    g_bWatch = true;
    {
        ChildOptions options;
        options.SetCommand(command);
        EXPECT_STREQ(options.command_line_argv()[0], SECRET);
    }
    g_bWatch = false;
    EXPECT_EQ(g_nLeaks, 0);
}

TEST_F(CommandLineTest, WatchSeesWhatPlainOptionsRelease)
{
    g_bWatch = true;
    {
        ACE_Process_Options options;
        options.command_line("%s", SECRET);
        EXPECT_STREQ(options.command_line_argv()[0], SECRET);
    }
    g_bWatch = false;
    EXPECT_EQ(g_nLeaks, 2);  // the buffer and the copy that is split
}

TEST_F(CommandLineTest, OptionsWipeTheProgramNameInside)
{
    alignas(ChildOptions) unsigned char storage[sizeof(ChildOptions)] = {};
    auto* const pOptions = new (storage) ChildOptions;
    pOptions->SetCommand(SECRET);
    EXPECT_STREQ(pOptions->process_name(), SECRET);
    EXPECT_NE(memmem(storage, sizeof storage, SECRET, sizeof SECRET - 1), nullptr);
    pOptions->~ChildOptions();
    EXPECT_EQ(memmem(storage, sizeof storage, SECRET, sizeof SECRET - 1), nullptr);
}

TEST_F(CommandLineTest, StartProcessReleasesNoCopyOfItsCommand)
{
    const std::string good = std::string("true ") + SECRET;
    const std::string refused = std::string("no-such-program ") + SECRET;
    SelfUtilCommon* const pHelpers = SelfUtilCommon::Instance();
    RecordingHost host;
    g_bWatch = true;
    EXPECT_TRUE(pHelpers->StartProcess("", good, true));
    EXPECT_FALSE(pHelpers->StartProcess("", refused, true));
    g_bWatch = false;
    EXPECT_EQ(g_nLeaks, 0);
    SelfUtilCommon::Destroy();
}

TEST_F(CommandLineTest, ExecuteCmdReleasesNoCopyOfItsCommand)
{
    const std::string good = std::string("true ") + SECRET;
    const std::string refused = std::string("no-such-program ") + SECRET;
    RecordingHost host;
    ZipFileInterface* const pPacker = ZipFileInterface::Instance();
    g_bWatch = true;
    EXPECT_TRUE(pPacker->ExecuteCmd("", good));
    EXPECT_FALSE(pPacker->ExecuteCmd("", refused));
    g_bWatch = false;
    EXPECT_EQ(g_nLeaks, 0);
    ZipFileInterface::Destroy();
}

TEST_F(CommandLineTest, ConfigurationEditReleasesNoCopyOfThePassword)
{
    RecordingHost host;
    const std::string path = m_Dir.Add("conf", std::string("-SSLPrivateKeyPasswd ") + SECRET + "\nend\n");
    const std::string value = std::string("new-") + SECRET;
    SelfUtilCommon* const pHelpers = SelfUtilCommon::Instance();
    g_bWatch = true;
    EXPECT_TRUE(pHelpers->modifyCorbaItemByCfg(path, "SSLPrivateKeyPasswd", value, "true "));
    g_bWatch = false;
    EXPECT_EQ(g_nLeaks, 0);
    EXPECT_EQ(m_Dir.Text("conf"), "-SSLPrivateKeyPasswd " + value + "\nend\n");
    SelfUtilCommon::Destroy();
}

}  // namespace
}  // namespace NS_UTIL
