/// \file
/// nbi-client: carries out what the command line asks for.
#include <chrono>
#include <cmath>
#include <cstdio>

#include "client/commandline.h"
#include "client/commands/keyfile.h"
#include "client/texts/texts.h"
#include "nbihost/standalone.h"
#include "nbiutil/errorinfomgr.h"
#include "shared/localsocket.h"

namespace northbound {
namespace {

std::chrono::milliseconds Milliseconds(double seconds)
{
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

/// Another user who was first with the folder's name could answer in the server's place.
std::string LocalServer()
{
    const std::string folder = RuntimeFolder();
    const std::string fault = FolderFault(folder);
    if (!fault.empty())
        throw InputError(Say("{1}, where the local server's socket is, {2}", {folder, Translated(fault)}));
    return SOCKET_SCHEME + DefaultSocket();
}

/// \param server whom the command asks, once that is known
int AskServer(const CommandLine& line, std::string& server)
{
    server = line.m_Server.empty() ? LocalServer() : line.m_Server;
    const Session session(server, line.m_User, KeyFile(server, line.m_User).Read(),
                          Milliseconds(line.m_Timeout));
    return line.m_Command(session);
}

int RunCommand(const CommandLine& line, std::string& server)
{
    nbihost::Host host(line.m_ConfigFile);
    host.Start();
    NS_UTIL::ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(line.m_Language == "en");
    return line.m_CommandWithoutServer ? line.m_CommandWithoutServer() : AskServer(line, server);
}

}  // namespace

int ClientMain(int nArgs, char** pArgs)
{
    CommandLine line;
    std::string server;
    try {
        if (const std::optional<int> exitCode = Parse(nArgs, pArgs, line)) return *exitCode;
        return RunCommand(line, server);
    } catch (const nbihost::HostError& e) {
        return ReportFailure(line.m_Output, Failure{"input", EXIT_BAD_USAGE, Translated(e.what()), {}, ""});
    } catch (...) {
        return ReportFailure(line.m_Output, CurrentFailure(server));
    }
}

}  // namespace northbound

int main(int nArgs, char** pArgs)
{
    try {
        return northbound::AfterOutput(northbound::ClientMain(nArgs, pArgs));
    } catch (...) {
        std::fputs("nbi-client: unforeseen failure\n", stderr);
        return 1;
    }
}
