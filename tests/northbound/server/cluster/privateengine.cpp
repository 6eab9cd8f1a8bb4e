#include "northbound/server/cluster/privateengine.h"

#include <fcntl.h>
#include <glob.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "server/cluster/engineconnection.h"
#include "support/eventually.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

/// Of the newest version; "" without one.
std::string ProgramFolder()
{
    glob_t found{};
    std::string folder;
    if (glob("/usr/lib/postgresql/*/bin/postgres", 0, nullptr, &found) == 0) {
        folder = fs::path(found.gl_pathv[found.gl_pathc - 1]).parent_path();
    }
    globfree(&found);
    return folder;
}

void BecomeUnprivileged()
{
    if (geteuid() != 0) return;
    const passwd* const pUser = getpwnam("postgres");
    if (pUser == nullptr || setgroups(0, nullptr) != 0 || setgid(pUser->pw_gid) != 0 ||
        setuid(pUser->pw_uid) != 0) {
        _exit(126);
    }
}

/// A process apart from the terminal's, which ends with this one.
pid_t StartProgram(const std::vector<std::string>& words, const std::string& log)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t nChild = fork();
    if (nChild != 0) return nChild;
    setpgid(0, 0);
    BecomeUnprivileged();
    prctl(PR_SET_PDEATHSIG, SIGQUIT);
    const int nLog = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(nLog, STDOUT_FILENO);
    dup2(nLog, STDERR_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
}

void RunProgram(const std::vector<std::string>& words, const std::string& log)
{
    const pid_t nChild = StartProgram(words, log);
    int nStatus = 0;
    if (waitpid(nChild, &nStatus, 0) != nChild || nStatus != 0) {
        throw std::runtime_error(words[0] + ": " + nbitest::ReadFile(log));
    }
}

void MakeData(const std::string& folder)
{
    RunProgram({ProgramFolder() + "/initdb", "-D", folder + "/data", "-U", "postgres", "-A", "trust",
                "--no-sync", "--wal-segsize=1", "--no-locale", "-E", "UTF8", "--no-instructions"},
               folder + "/log");
}

void Copy(const std::string& from, const std::string& to)
{
    if (std::system(("cp -a '" + from + "' '" + to + "'").c_str()) != 0) {
        throw std::runtime_error("cp " + from);
    }
}

/// The data of an engine that was never started is made once; then it is copied, which takes a tenth of the time.
void CopyData(const std::string& folder)
{
    const std::string version =
        fs::path(ProgramFolder()).parent_path().filename();  // others cannot read its data
    const std::string draft = NBI_ENGINE_DRAFTS "/data-" + version + '-' + std::to_string(geteuid());
    if (!nbitest::Exists(draft)) {
        MakeData(folder);
        fs::create_directories(NBI_ENGINE_DRAFTS);
        const std::string own = draft + "." + std::to_string(getpid());
        Copy(folder + "/data", own);
        std::error_code error;
        fs::rename(own, draft, error);
        if (error) fs::remove_all(own);  // another test was faster
        return;
    }
    Copy(draft, folder + "/data");
}

}  // namespace

bool HasEngine()
{
    return !ProgramFolder().empty();
}

PrivateEngine::PrivateEngine(Disk disk) : m_Disk(disk)
{
    CopyData(m_Folder.Path());
    Start();
}

PrivateEngine::PrivateEngine(const std::string& primaryFolder) : m_Disk(Disk::UNFLUSHED)
{
    RunProgram({ProgramFolder() + "/pg_basebackup", "-h", primaryFolder, "-U", "postgres", "-D",
                m_Folder / "data", "--write-recovery-conf", "--checkpoint=fast", "--no-sync"},
               m_Folder / "log");
    Start();
}

std::unique_ptr<PrivateEngine> PrivateEngine::StandbyOf(const PrivateEngine& primary)
{
    std::unique_ptr<PrivateEngine> pStandby(new PrivateEngine(primary.Folder()));
    EngineLimits limits;
    limits.m_Call = std::chrono::minutes(1);
    EngineConnection connection(primary.Text(), limits);
    connection.Execute("ALTER SYSTEM SET synchronous_standby_names = '*'");
    connection.Execute("SELECT pg_reload_conf()");
    const auto isFollowing = [&connection] {
        return !connection.Execute("SELECT 1 FROM pg_stat_replication WHERE sync_state = 'sync'").empty();
    };
    if (!nbitest::Eventually(isFollowing)) throw std::runtime_error("no standby: " + pStandby->Log());
    return pStandby;
}

PrivateEngine::~PrivateEngine()
{
    Kill();
}

/// Nothing starts on a shared memory that somebody still has: a session of the one before may need a moment to end.
void PrivateEngine::Start()
{
    if (!nbitest::Eventually([this] { return TryToStart(); })) {
        throw std::runtime_error("the engine does not start: " + Log());
    }
}

bool PrivateEngine::TryToStart()
{
    const std::size_t nBefore = Log().size();
    m_nMain =
        StartProgram({ProgramFolder() + "/postgres", "-D", m_Folder / "data", "-k", m_Folder.Path(), "-c",
                      "listen_addresses=", "-c", m_Disk == Disk::FLUSHED ? "fsync=on" : "fsync=off", "-c",
                      "shared_buffers=8MB", "-c", "log_lock_waits=on"},
                     m_Folder / "log");
    const auto isReady = [&] {
        return Log().find("database system is ready to accept", nBefore) != std::string::npos;
    };
    const auto hasEnded = [this] { return waitpid(m_nMain, nullptr, WNOHANG) == m_nMain; };
    bool bEnded = false;
    nbitest::Eventually([&] { return isReady() || (bEnded = hasEnded()); });
    if (bEnded) m_nMain = -1;
    return isReady();
}

/// Its sessions and helpers, which have process groups of their own.
std::vector<pid_t> PrivateEngine::Children() const
{
    const std::string id = std::to_string(m_nMain);
    std::istringstream words(nbitest::ReadFile("/proc/" + id + "/task/" + id + "/children"));
    return {std::istream_iterator<pid_t>(words), std::istream_iterator<pid_t>()};
}

/// The first process alone makes others: once it stands still, all of them are known.
std::vector<pid_t> PrivateEngine::Halt() const
{
    kill(m_nMain, SIGSTOP);
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(m_nMain), &info, WSTOPPED | WEXITED | WNOWAIT);
    return Children();
}

void PrivateEngine::Kill()
{
    if (m_nMain < 0) return;
    const std::vector<pid_t> children = Halt();
    kill(m_nMain, SIGKILL);
    for (const pid_t nChild : children) kill(nChild, SIGKILL);
    while (waitpid(m_nMain, nullptr, 0) < 0 && errno == EINTR) {
    }
    for (const pid_t nChild : children) {
        const std::string words = "/proc/" + std::to_string(nChild) + "/cmdline";  // empty once it has ended
        nbitest::Eventually([&] { return nbitest::ReadFile(words).empty(); });
    }
    m_nMain = -1;
}

void PrivateEngine::Recover()
{
    if (m_nMain < 0) return Start();
    Resume();
}

void PrivateEngine::Pause()
{
    for (const pid_t nChild : Halt()) kill(nChild, SIGSTOP);
}

void PrivateEngine::Resume()
{
    for (const pid_t nChild : Children()) kill(nChild, SIGCONT);
    kill(m_nMain, SIGCONT);
}

PrivateEngine& SharedEngine()
{
    static PrivateEngine s_Engine;
    s_Engine.Recover();
    EngineLimits limits;
    limits.m_Call = std::chrono::minutes(1);
    EngineConnection(s_Engine.Text(), limits)
        .ExecuteScript("DROP SCHEMA IF EXISTS nbi CASCADE; DROP ROLE IF EXISTS nbi");
    return s_Engine;
}

}  // namespace northbound
