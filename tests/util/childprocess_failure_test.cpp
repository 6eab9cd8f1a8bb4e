// Starts of programs where the system fails, or changes its mind, as no test can make it.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <spawn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/testdirectory.h"
#include "support/threadsanitizer.h"
#include "util/childprocess.h"
#include "util/commandline.h"

namespace {

int g_nSearchError = 0;      // of posix_spawnp(); 0: it goes on to the system
int g_nActionError = 0;      // of an open file action
std::string g_StandardPath;  // empty: the system's

template <class Function>
Function Next(const char* pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

}  // namespace

// Visible, unlike everything else in a test program: the shared libraries must find these before the system's.
#pragma GCC visibility push(default)
extern "C" {

int posix_spawnp(pid_t* pChild, const char* pFile, const posix_spawn_file_actions_t* pActions,
                 const posix_spawnattr_t* pAttributes, char* const words[], char* const environment[])
{
    static const auto next = Next<decltype(&posix_spawnp)>("posix_spawnp");
    if (g_nSearchError != 0) return g_nSearchError;
    return next(pChild, pFile, pActions, pAttributes, words, environment);
}

int posix_spawn_file_actions_addopen(posix_spawn_file_actions_t* pActions, int nFile, const char* pPath,
                                     int nFlags, mode_t nMode) noexcept
{
    static const auto next =
        Next<decltype(&posix_spawn_file_actions_addopen)>("posix_spawn_file_actions_addopen");
    if (g_nActionError != 0) return g_nActionError;
    return next(pActions, nFile, pPath, nFlags, nMode);
}

#if !NBI_THREAD_SANITIZER  // which asks for it before this program has begun
size_t confstr(int nName, char* pBuffer, size_t nSize) noexcept
{
    static const auto next = Next<decltype(&confstr)>("confstr");
    if (nName != _CS_PATH || g_StandardPath.empty()) return next(nName, pBuffer, nSize);
    strncpy(pBuffer, g_StandardPath.c_str(), nSize);
    return g_StandardPath.size() + 1;
}
#endif

}  // extern "C"
#pragma GCC visibility pop

namespace NS_UTIL {
namespace {

using nbitest::TestDirectory;

/// Runs \p command to its end.
/// \return 0, or the error number with which it could not be started
int StartError(const std::string& workDir, const std::string& command)
{
    ChildOptions options;
    EXPECT_TRUE(options.SetWorkingDirectory(workDir));
    options.SetCommand(command);
    Child<ACE_Process> child(Streams::GUARDED);
    if (child.spawn(options) == ACE_INVALID_PID) return errno;
    EXPECT_EQ(child.wait(), child.getpid());
    return 0;
}

TEST(ChildProcessFailureTest, StepThatCannotBePreparedKeepsTheProgramFromBeingStarted)
{
    const TestDirectory folder;
    g_nActionError = ENOMEM;
    EXPECT_EQ(StartError(folder.Path(), "touch made"), ENOMEM);
    EXPECT_FALSE(folder.Has("made"));
}

/// A program may get its interpreter's name between the two searches.
TEST(ChildProcessFailureTest, ProgramThatCanBeStartedAfterAllIsStartedOnce)
{
    const TestDirectory folder;
    folder.Add("first", "#!/bin/sh\necho $0 >> seen\n", 0755);
    setenv("PATH", folder.Path().c_str(), 1);
    g_nSearchError = ENOEXEC;
    EXPECT_EQ(StartError(folder.Path(), "first"), 0);
    EXPECT_EQ(folder.Text("seen"), folder / "first" + "\n");
}

TEST(ChildProcessFailureTest, ProgramThatIsGoneMeanwhileIsNone)
{
    const TestDirectory folder;
    setenv("PATH", folder.Path().c_str(), 1);
    g_nSearchError = ENOEXEC;
    EXPECT_EQ(StartError(folder.Path(), "gone"), ENOEXEC);
}

#if !NBI_THREAD_SANITIZER
TEST(ChildProcessFailureTest, WithoutAPathScriptsAreSearchedForInTheStandardOne)
{
    const TestDirectory folder;
    folder.Add("bare", ": > " + folder / "made" + "\n", 0755);
    unsetenv("PATH");
    g_StandardPath = "/no/such:" + folder.Path();
    g_nSearchError = ENOEXEC;
    EXPECT_EQ(StartError("/usr", "bare"), 0);
    EXPECT_TRUE(folder.Has("made"));
}
#endif

}  // namespace
}  // namespace NS_UTIL
