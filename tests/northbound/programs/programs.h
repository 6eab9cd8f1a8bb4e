/// \file
/// The example's programs as processes of their own.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "support/eventually.h"
#include "support/testdirectory.h"

namespace northbound {

using nbitest::Eventually;
using nbitest::ReadFile;
using nbitest::TestDirectory;
using nbitest::WriteFile;

/// One line of the server's log.
struct LoggedLine {
    std::string m_Thread;
    std::string m_Operation;  // operation UUID; empty for a line without a request
    std::string m_Interface;
    std::string m_User;
    std::string m_Text;  // module, its line if it has one, and the text

    bool Has(const std::string& part) const { return m_Text.find(part) != std::string::npos; }
};

/// A child process whose output goes to files in \p directory.
class Program {
public:
    Program(const std::string& directory, const std::string& name, const std::vector<std::string>& command);
    /// Kills it if it still runs.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t Id() const { return m_nPid; }
    /// After SIGSTOP all of its threads have stopped.
    void Signal(int nSignal) const;
    bool IsRunning();
    /// \return the exit code, or 1000 + the signal that ended it
    int Wait();
    std::string StandardOutput() const;
    std::string StandardError() const;

private:
    int Reap(int nOptions);

    std::string m_Output;
    std::string m_Error;
    pid_t m_nPid = -1;
    int m_nResult = -1;
};

/// TCP: a free port of the loopback interface, where everybody is admin. LOCAL: what a server without
/// configuration does.
enum class Way { TCP, LOCAL };

/// READY: a key pair of this build, where it can be had. OWN: the server makes its own, which takes longer than all else at
/// its start.
enum class KeyPair { READY, OWN };

/// nbi-server with a directory of its own.
class Server {
public:
    /// \param items lines of the configuration's [server] section, which take the place of what \p way would say;
    ///              TaskMgrMaxThreadNum may be one of them
    explicit Server(const std::string& items = "", Way way = Way::TCP, KeyPair keyPair = KeyPair::READY);

    /// "127.0.0.1:<port>", or "unix:<path>"
    const std::string& Address() const { return m_Address; }
    const std::string& Directory() const { return m_Directory.Path(); }
    Program& Process() { return *m_pProgram; }
    std::vector<LoggedLine> Log() const;

private:
    TestDirectory m_Directory;
    std::string m_Address;
    std::unique_ptr<Program> m_pProgram;
};

struct Outcome {
    int m_nExitCode;
    std::string m_Output;
    std::string m_Error;
};

/// Runs nbi-client to its end.
Outcome RunClient(const std::vector<std::string>& arguments);
/// Runs nbi-server to its end, for command lines with which it does not start.
Outcome RunServer(const std::vector<std::string>& arguments);

}  // namespace northbound
