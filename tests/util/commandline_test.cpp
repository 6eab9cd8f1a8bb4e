#include "util/commandline.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <string.h>  // memmem
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "nbiutil/selfutilcommon.h"
#include "nbiutil/zipfile.h"
#include "support/inchild.h"
#include "support/recordinghost.h"
#include "support/tempdir.h"

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

using nbitest::NOT_ROOT;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::RecordingHost;
using nbitest::TempDir;

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
    void SetPath(const std::string& path) { setenv("PATH", path.c_str(), 1); }
    void SetUp() override
    {
        m_OldPath = std::getenv("PATH");
        g_nLeaks = 0;
    }
    void TearDown() override { SetPath(m_OldPath); }

    std::string AddProgram(const std::string& name, const std::string& text = "#!/bin/sh\n")
    {
        return m_Dir.Add(name, text, 0755);
    }
    void AddFolder(const std::string& name) { ASSERT_EQ(mkdir((m_Dir / name).c_str(), 0755), 0); }

    TempDir m_Dir;
    std::string m_OldPath;
};

TEST_F(CommandLineTest, CommandThatCanBeStartedHasNoError)
{
    EXPECT_EQ(StartError("", "true"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "true with words"), 0);
    EXPECT_EQ(StartError(".", "/bin/sh -c 'exit 3'"), 0);
}

TEST_F(CommandLineTest, LongestCommandIs1023Characters)
{
    EXPECT_EQ(StartError("", OfLength(1023)), 0);
    EXPECT_EQ(StartError("", OfLength(1024)), E2BIG);
}

TEST_F(CommandLineTest, MostWordsAre127)
{
    EXPECT_EQ(StartError("", Words(127)), 0);
    EXPECT_EQ(StartError("", Words(128)), E2BIG);
}

TEST_F(CommandLineTest, QuotedWordsCountOnceAsAceSplitsThem)
{
    EXPECT_EQ(StartError("", Words(126) + " 'x x x x'"), 0);
    EXPECT_EQ(StartError("", Words(126) + " \"x x x x\""), 0);
    EXPECT_EQ(StartError("", Words(127) + " 'x x'"), E2BIG);
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
            ASSERT_EQ(StartError("", command), 0) << command;
            command += ' ' + word;
        } while (nWords < MAX_COMMAND_WORDS && command.size() <= MAX_COMMAND_LENGTH && word != "it's");
        if (nWords == MAX_COMMAND_WORDS) {
            EXPECT_EQ(StartError("", command), E2BIG) << command;
        }
    }
}

TEST_F(CommandLineTest, CommandWithoutAWordIsInvalid)
{
    EXPECT_EQ(StartError("", ""), EINVAL);
    EXPECT_EQ(StartError("", "    "), EINVAL);
    EXPECT_EQ(StartError("", "''"), ENOENT);  // an empty word is a program that nobody finds
}

TEST_F(CommandLineTest, ZeroByteIsInvalid)
{
    EXPECT_EQ(StartError("", std::string("true\0x", 6)), EINVAL);
    EXPECT_EQ(StartError(std::string("/tmp\0x", 6), "true"), EINVAL);
}

TEST_F(CommandLineTest, WorkingDirectoryHasToBeOne)
{
    m_Dir.Add("file", "");
    EXPECT_EQ(StartError(m_Dir / "missing", "true"), ENOENT);
    EXPECT_EQ(StartError(m_Dir / "file", "true"), ENOTDIR);
    EXPECT_EQ(StartError(m_Dir / "file/below", "true"), ENOTDIR);
    EXPECT_EQ(StartError(m_Dir.Path() + std::string(4096, '/'), "true"), ENAMETOOLONG);
}

TEST_F(CommandLineTest, WorkingDirectoryHasToBeOpenToTheUser)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    AddFolder("closed");
    chmod((m_Dir / "closed").c_str(), 0644);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(StartError(m_Dir / "closed", "true"), EACCES); }));
}

TEST_F(CommandLineTest, MissingProgramIsNotFound)
{
    EXPECT_EQ(StartError("", "no-such-program-anywhere"), ENOENT);
    EXPECT_EQ(StartError("", "/no/such/program"), ENOENT);
    EXPECT_EQ(StartError("", "./no-such-program"), ENOENT);
}

TEST_F(CommandLineTest, ProgramWithASlashIsNotSearchedFor)
{
    AddFolder("bin");
    AddProgram("bin/prog");
    SetPath(m_Dir.Path());
    EXPECT_EQ(StartError("", "bin/prog"), ENOENT);
    EXPECT_EQ(StartError(m_Dir.Path(), "bin/prog"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./bin/prog"), 0);
    EXPECT_EQ(StartError(m_Dir / "bin", "../bin/prog"), 0);
    EXPECT_EQ(StartError("/", m_Dir / "bin/prog"), 0);
}

TEST_F(CommandLineTest, DirectoryOrPlainFileIsNoProgram)
{
    AddFolder("folder");
    m_Dir.Add("plain", "text", 0644);
    EXPECT_EQ(StartError(m_Dir.Path(), "./folder"), EACCES);
    EXPECT_EQ(StartError(m_Dir.Path(), "./plain"), EACCES);
    EXPECT_EQ(StartError(m_Dir.Path(), "./plain/below"), ENOTDIR);
}

TEST_F(CommandLineTest, ProgramOfAnotherUserIsDenied)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("mine", "#!/bin/sh\n", 0700);
    EXPECT_EQ(StartError(m_Dir.Path(), "./mine"), 0);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(StartError(m_Dir.Path(), "./mine"), EACCES); }));
}

TEST_F(CommandLineTest, FoldersOfThePathAreTriedInOrder)
{
    AddFolder("first");
    AddFolder("second");
    AddProgram("second/prog");
    SetPath(m_Dir / "missing" + ":" + m_Dir / "first" + ":" + m_Dir / "second");
    EXPECT_EQ(StartError("", "prog"), 0);
    SetPath(m_Dir / "missing" + ":" + m_Dir / "first");
    EXPECT_EQ(StartError("", "prog"), ENOENT);
}

TEST_F(CommandLineTest, DeniedProgramDoesNotEndTheSearchButIsRemembered)
{
    AddFolder("first");
    AddFolder("second");
    m_Dir.Add("first/prog", "", 0644);
    SetPath(m_Dir / "first" + ":" + m_Dir / "second");
    EXPECT_EQ(StartError("", "prog"), EACCES);
    AddProgram("second/prog");
    EXPECT_EQ(StartError("", "prog"), 0);
}

TEST_F(CommandLineTest, LoopOfLinksEndsTheSearch)
{
    AddFolder("first");
    AddFolder("second");
    ASSERT_EQ(symlink("prog", (m_Dir / "first/prog").c_str()), 0);
    AddProgram("second/prog");
    SetPath(m_Dir / "first" + ":" + m_Dir / "second");
    EXPECT_EQ(StartError("", "prog"), ELOOP);
}

TEST_F(CommandLineTest, EmptyAndRelativeFoldersOfThePathMeanTheWorkingDirectory)
{
    AddFolder("bin");
    AddProgram("here");
    AddProgram("bin/below");
    for (const char* pPath : {"", ":/no/such", "/no/such:", "/no/such::/nor/such"}) {
        SetPath(pPath);
        EXPECT_EQ(StartError(m_Dir.Path(), "here"), 0) << pPath;
        EXPECT_EQ(StartError("/", "here"), ENOENT) << pPath;
    }
    SetPath("bin");
    EXPECT_EQ(StartError(m_Dir.Path(), "below"), 0);
    EXPECT_EQ(StartError("/", "below"), ENOENT);
}

TEST_F(CommandLineTest, OverlongFolderOfThePathIsPassedOver)
{
    AddProgram("prog");
    SetPath(std::string(5000, 'x') + ":" + m_Dir.Path());
    EXPECT_EQ(StartError("", "prog"), 0);
}

TEST_F(CommandLineTest, OverlongProgramNameIsRefused)
{
    EXPECT_EQ(StartError("", std::string(256, 'x')), ENAMETOOLONG);
    EXPECT_EQ(StartError("", std::string(255, 'x')), ENOENT);
}

TEST_F(CommandLineTest, WithoutAPathTheStandardOneIsSearched)
{
    EXPECT_TRUE(PassesInChild([] {
        unsetenv("PATH");
        EXPECT_EQ(StartError("/", "sh"), 0);
        EXPECT_EQ(StartError("/", "no-such-program-anywhere"), ENOENT);
    }));
}

TEST_F(CommandLineTest, ScriptNeedsItsInterpreter)
{
    AddProgram("good", "#! \t/bin/sh -e\n");
    AddProgram("lost", "#!/no/such/shell\n");
    m_Dir.Add("plain", "", 0644);
    AddProgram("denied", "#!" + m_Dir / "plain" + "\n");
    EXPECT_EQ(StartError(m_Dir.Path(), "./good"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./lost"), ENOENT);
    EXPECT_EQ(StartError(m_Dir.Path(), "./denied"), EACCES);
}

TEST_F(CommandLineTest, ScriptWithoutAnInterpreterRunsInTheShell)
{
    AddProgram("bare", "exit 0\n");
    AddProgram("empty", "");
    AddProgram("nameless", "#!\nexit 0\n");
    EXPECT_EQ(StartError(m_Dir.Path(), "./bare"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./empty"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./nameless"), 0);
}

TEST_F(CommandLineTest, ChainOfInterpretersEndsAsTheKernelEndsIt)
{
    AddProgram("s0", "#!/bin/sh\n");
    for (int i = 1; i <= 6; ++i) {
        AddProgram("s" + std::to_string(i), "#!" + m_Dir / "s" + std::to_string(i - 1) + "\n");
    }
    EXPECT_EQ(StartError(m_Dir.Path(), "./s4"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./s6"), ELOOP);
}

/// The answer against the kernel's own, through execvp() in a child.
TEST_F(CommandLineTest, AnswersWhatExecvpAnswers)
{
    AddFolder("bin");
    AddFolder("folder");
    AddProgram("bin/prog");
    AddProgram("lost", "#!/no/such/shell\n");
    AddProgram("bin/lost", "#!/no/such/shell\n");
    AddProgram("s0", "#!/bin/true\n");
    for (int i = 1; i <= 6; ++i) {
        AddProgram("s" + std::to_string(i), "#!" + m_Dir / "s" + std::to_string(i - 1) + "\n");
    }
    m_Dir.Add("plain", "", 0644);
    AddProgram("empty", "");
    ASSERT_EQ(symlink("loop", (m_Dir / "loop").c_str()), 0);
    for (const char* pPath : {"bin", "/no/such:bin", ":bin", "plain:bin", "loop:bin", "folder"}) {
        SetPath(pPath);
        for (const std::string program :
             {"prog", "lost", "plain", "folder", "empty", "loop", "./prog", "./lost", "./plain", "./folder",
              "./loop", "bin/prog", "plain/x", "s3", "./s4", "./s5", "./s6"}) {
            const pid_t nChild = fork();
            if (nChild == 0) {
                if (chdir(m_Dir.Path().c_str()) != 0) _exit(255);
                char* words[] = {const_cast<char*>(program.c_str()), nullptr};
                execvp(words[0], words);
                _exit(errno);
            }
            int nStatus = 0;
            ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
            EXPECT_EQ(StartError(m_Dir.Path(), program), WEXITSTATUS(nStatus)) << pPath << ' ' << program;
        }
    }
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
