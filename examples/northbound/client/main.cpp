/// \file
/// nbi-client: carries out what the command line asks for.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <random>
#include <vector>

#include "client/commandline.h"
#include "client/commands/keyfile.h"
#include "client/commands/login.h"
#include "client/texts/texts.h"
#include "nbihost/corbaconfigitems.h"
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
    if (!fault.empty()) {
        throw InputError(Say("{1}, where the local server's socket is, {2}", {folder, Translated(fault)}));
    }
    return SOCKET_SCHEME + DefaultSocket();
}

/// The absolute path that the configuration gives under \p key; "" without one.
std::string PathIn(const std::string& configFile, const std::string& key)
{
    std::string path;
    if (!NS_BUNDLEMGR1::CorbaConfigItems::Instance()->GetStrItemInfo(key, path) || path.empty()) return "";
    return (std::filesystem::absolute(configFile).parent_path() / path).lexically_normal().string();
}

TlsFiles TlsFilesIn(const std::string& configFile)
{
    return {PathIn(configFile, "TlsAuthorities"), PathIn(configFile, "TlsCertificate"),
            PathIn(configFile, "TlsKey")};
}

std::vector<Endpoint> Endpoints(const CommandLine& line)
{
    std::vector<Endpoint> endpoints;
    for (const std::string& server : line.m_Servers) {
        if (!server.empty()) endpoints.push_back({server, KeyFile(server, line.m_User).Read()});
    }
    if (line.m_bShuffle) std::shuffle(endpoints.begin(), endpoints.end(), std::random_device());
    if (!endpoints.empty()) return endpoints;
    const std::string local = LocalServer();
    return {{local, KeyFile(local, line.m_User).Read()}};
}

Keys KeysFor(const CommandLine& line, const Session& session)
{
    Keys keys;
    keys.m_Known = [&line](const std::string& server) { return KeyFile(server, line.m_User).Read(); };
    if (line.m_LogInWith.empty()) return keys;
    keys.m_LogIn = [&line, &session] { return OpenSession(session, line.m_LogInWith); };
    return keys;
}

int AskServer(const CommandLine& line)
{
    Session session(Endpoints(line), line.m_User, Milliseconds(line.m_Timeout),
                    TlsFilesIn(line.m_ConfigFile));
    session.Use(KeysFor(line, session));
    try {
        return line.m_Command(session);
    } catch (...) {
        return ReportFailure(line.m_Output, CurrentFailure(session));
    }
}

int RunCommand(const CommandLine& line)
{
    nbihost::Host host(line.m_ConfigFile);
    host.Start();
    NS_UTIL::ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(line.m_Language == "en");
    return line.m_CommandWithoutServer ? line.m_CommandWithoutServer() : AskServer(line);
}

}  // namespace

int ClientMain(int nArgs, char** pArgs)
{
    CommandLine line;
    try {
        if (const std::optional<int> exitCode = Parse(nArgs, pArgs, line)) return *exitCode;
        return RunCommand(line);
    } catch (const nbihost::HostError& e) {
        return ReportFailure(line.m_Output, Failure{"input", EXIT_BAD_USAGE, Translated(e.what()), {}, ""});
    } catch (...) {
        return ReportFailure(line.m_Output, CurrentFailure(""));
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
