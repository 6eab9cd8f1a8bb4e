#include "util/childprocess.h"

#include <fcntl.h>
#include <limits.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace NS_UTIL {
namespace {

using Words = char* const*;

constexpr const char* NULL_DEVICE = "/dev/null";
constexpr const char* SHELL = "/bin/sh";
constexpr int FIRST_OTHER = STDERR_FILENO + 1;

/// A number that is marked close-on-exec is as good as closed: a server without standard streams finds its
/// sockets under these numbers.
bool ReachesPrograms(int nStream)
{
    const int nFlags = fcntl(nStream, F_GETFD);
    return nFlags >= 0 && (nFlags & FD_CLOEXEC) == 0;
}

bool HasAReader(int nStream)
{
    struct stat status;
    return fstat(nStream, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

bool IsReplaced(int nStream, Streams streams)
{
    if (!ReachesPrograms(nStream)) return true;
    return streams == Streams::GUARDED && (nStream == STDIN_FILENO || HasAReader(nStream));
}

std::string SearchPath()
{
    if (const char* pPath = std::getenv("PATH")) return pPath;
    std::array<char, PATH_MAX> standard{};
    confstr(_CS_PATH, standard.data(), standard.size());
    return standard.data();
}

/// What the child does on its way to the program, and the start itself. All of it runs in the child, between
/// the kernel's copy and the program, and opens nothing in the server.
class Launcher {
public:
    Launcher(const char* pWorkDir, Streams streams) : m_nError(posix_spawn_file_actions_init(&m_Actions))
    {
        for (int nStream = STDIN_FILENO; nStream < FIRST_OTHER; ++nStream) {
            if (IsReplaced(nStream, streams)) ReplaceByNull(nStream);
        }
        if (pWorkDir != nullptr) Keep(posix_spawn_file_actions_addchdir_np(&m_Actions, pWorkDir));
        Keep(posix_spawn_file_actions_addclosefrom_np(&m_Actions, FIRST_OTHER));
    }
    ~Launcher() { posix_spawn_file_actions_destroy(&m_Actions); }
    Launcher(const Launcher&) = delete;
    Launcher& operator=(const Launcher&) = delete;

    /// \return 0, or the error number that says why there is no child.
    int Start(Words words)
    {
        if (m_nError != 0) return m_nError;
        const int nError = posix_spawnp(&m_nChild, words[0], &m_Actions, nullptr, words, environ);
        return nError == ENOEXEC ? StartInShell(words) : nError;
    }
    pid_t Child() const { return m_nChild; }

private:
    void Keep(int nError)
    {
        if (m_nError == 0) m_nError = nError;
    }
    void ReplaceByNull(int nStream)
    {
        Keep(posix_spawn_file_actions_addopen(&m_Actions, nStream, NULL_DEVICE, O_RDWR, 0));
    }

    int StartPath(const char* pPath, Words words)
    {
        return posix_spawn(&m_nChild, pPath, &m_Actions, nullptr, words, environ);
    }

    int StartScript(std::string path, Words words)
    {
        std::string shell = SHELL;
        std::vector<char*> shellWords{shell.data(), path.data()};
        while (*++words != nullptr) shellWords.push_back(*words);
        shellWords.push_back(nullptr);
        return StartPath(shell.c_str(), shellWords.data());
    }

    /// Runs a file without a known head as a script, which execvp() does and posix_spawnp() does not: callers
    /// have commands that are scripts without an interpreter's name. Only such a file's folder is searched
    /// for by hand.
    int StartInShell(Words words)
    {
        const std::string program = words[0];
        if (program.find('/') != std::string::npos) return StartScript(program, words);
        const std::string path = SearchPath();
        for (std::size_t nBegin = 0, nEnd = 0; nEnd != std::string::npos; nBegin = nEnd + 1) {
            nEnd = path.find(':', nBegin);
            const std::string folder = path.substr(nBegin, nEnd - nBegin);
            const std::string candidate = (folder.empty() ? "." : folder) + '/' + program;
            const int nError = StartPath(candidate.c_str(), words);
            if (nError == ENOEXEC) return StartScript(candidate, words);
            if (nError == 0) return 0;
        }
        return ENOEXEC;
    }

    posix_spawn_file_actions_t m_Actions;
    int m_nError;
    pid_t m_nChild = ACE_INVALID_PID;
};

}  // namespace

pid_t StartProgram(ACE_Process_Options& options, Streams streams)
{
    Launcher launcher(options.working_directory(), streams);
    const int nError = launcher.Start(options.command_line_argv());
    if (nError == 0) return launcher.Child();
    errno = nError;
    return ACE_INVALID_PID;
}

void WaitForEnd(pid_t nChild)
{
    while (waitpid(nChild, nullptr, 0) == -1 && errno == EINTR) continue;
}

}  // namespace NS_UTIL
