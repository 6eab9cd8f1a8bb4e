#include "northbound/programs/programs.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

extern char** environ;

namespace northbound {
namespace {

namespace fs = std::filesystem;

constexpr const char* SERVER = NBI_SERVER;
constexpr const char* CLIENT = NBI_CLIENT;
/// A program ends with the test that started it, even when that one is killed.
const std::vector<std::string> LAUNCHER = {"/usr/bin/setpriv", "--pdeathsig", "KILL"};
constexpr int ENDED_BY_SIGNAL = 1000;

Outcome RunToEnd(const char* pProgram, std::vector<std::string> arguments)
{
    const TestDirectory directory;
    arguments.insert(arguments.begin(), pProgram);
    Program program(directory.Path(), "program", arguments);
    const int nExitCode = program.Wait();
    return Outcome{nExitCode, program.StandardOutput(), program.StandardError()};
}

/// What a test server has unless its test says otherwise.
std::string ConfigText(std::string items, Way way)
{
    const auto add = [&items](const std::string& key, const std::string& value) {
        if (items.find(key) != std::string::npos) return;  // a key may come only once
        items.append(key).append(" = ").append(value).append("\n");
    };
    if (way == Way::TCP) {
        add("ListenPort", "0");
        add("Anonymous", "admin");
    }
    add("DescriptionFile", std::string(NBI_DESCRIPTIONS) + "/northbound.xml");
    return "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n[server]\n" + items;
}

std::vector<std::string> ServerCommand([[maybe_unused]] KeyPair keyPair)
{
#ifdef NBI_READY_KEY_MODULE
    if (keyPair == KeyPair::READY) return {"/usr/bin/env", "LD_PRELOAD=" NBI_READY_KEY_MODULE, SERVER};
#endif
    return {SERVER};
}

/// What stands in \p rest before \p end; both are taken away.
std::string TakeUpTo(std::string& rest, const std::string& end)
{
    const std::size_t nEnd = rest.find(end);
    if (nEnd == std::string::npos) throw std::runtime_error("no \"" + end + "\" in the log line: " + rest);
    std::string taken = rest.substr(0, nEnd);
    rest.erase(0, nEnd + end.size());
    return taken;
}

/// "<date> <time> <level> [<thread>] <prefix><text>"; the prefix is "<OpUUID>...</OpUUID> [<interface>]
/// <user> ".
LoggedLine Parsed(std::string rest)
{
    LoggedLine line;
    TakeUpTo(rest, " [");
    line.m_Thread = TakeUpTo(rest, "] ");
    const std::string open = "<OpUUID>";
    if (rest.compare(0, open.size(), open) == 0) {
        TakeUpTo(rest, open);
        line.m_Operation = TakeUpTo(rest, "</OpUUID> [");
        line.m_Interface = TakeUpTo(rest, "] ");
        line.m_User = TakeUpTo(rest, " ");
    }
    line.m_Text = rest;
    return line;
}

}  // namespace

Program::Program(const std::string& directory, const std::string& name,
                 const std::vector<std::string>& command)
    : m_Output(directory + "/" + name + ".stdout"), m_Error(directory + "/" + name + ".stderr")
{
    std::vector<char*> arguments;
    arguments.reserve(LAUNCHER.size() + command.size() + 1);
    for (const std::string& word : LAUNCHER) arguments.push_back(const_cast<char*>(word.c_str()));
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_Output.c_str(), flags, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_Error.c_str(), flags, 0644);
    const int nError = posix_spawn(&m_nPid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (nError != 0) throw std::runtime_error("cannot start " + command[0]);
}

Program::~Program()
{
    if (!IsRunning()) return;
    Signal(SIGKILL);
    Wait();
}

void Program::Signal(int nSignal) const
{
    kill(m_nPid, nSignal);
    if (nSignal != SIGSTOP) return;
    siginfo_t info{};  // a thread that is at work goes on for a moment
    waitid(P_PID, static_cast<id_t>(m_nPid), &info, WSTOPPED | WEXITED | WNOWAIT);
}

bool Program::IsRunning()
{
    return m_nResult < 0 && Reap(WNOHANG) < 0;
}

int Program::Wait()
{
    return m_nResult < 0 ? Reap(0) : m_nResult;
}

int Program::Reap(int nOptions)
{
    int nStatus = 0;
    if (waitpid(m_nPid, &nStatus, nOptions) != m_nPid) return m_nResult;
    m_nResult = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : ENDED_BY_SIGNAL + WTERMSIG(nStatus);
    return m_nResult;
}

std::string Program::StandardOutput() const
{
    return ReadFile(m_Output);
}

std::string Program::StandardError() const
{
    return ReadFile(m_Error);
}

Server::Server(const std::string& items, Way way, KeyPair keyPair)
{
    const std::string config = Directory() + "/server.ini";
    const std::string ready = Directory() + "/ready";
    WriteFile(config, ConfigText(items, way));
    std::vector<std::string> command = ServerCommand(keyPair);
    command.insert(command.end(), {"--config", config, "--ready-file", ready});
    m_pProgram = std::make_unique<Program>(Directory(), "server", command);
    const bool bReady = Eventually([&] { return fs::exists(ready) || !m_pProgram->IsRunning(); });
    if (!bReady || !fs::exists(ready)) throw std::runtime_error("no server: " + m_pProgram->StandardError());
    const std::string address = ReadFile(ready);
    m_Address = address.substr(0, address.find('\n'));
}

std::vector<LoggedLine> Server::Log() const
{
    std::vector<LoggedLine> lines;
    std::ifstream file(Directory() + "/log");
    std::string line;
    while (std::getline(file, line)) {
        if (!file.eof()) lines.push_back(Parsed(line));  // a line that is still being written has no end yet
    }
    return lines;
}

Outcome RunClient(const std::vector<std::string>& arguments)
{
    return RunToEnd(CLIENT, arguments);
}

Outcome RunServer(const std::vector<std::string>& arguments)
{
    return RunToEnd(SERVER, arguments);
}

}  // namespace northbound
