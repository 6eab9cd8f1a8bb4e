/// \file
/// nbi-server: starts the host, the pools and the ORB, waits for the order to stop, and ends them in turn.
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "nbihost/standalone.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbitaskmgr.h"
#include "server/commandline.h"
#include "server/corba/managerservant.h"
#include "server/corba/orbendpoint.h"
#include "server/figures/catalogue.h"
#include "server/operations/service.h"
#include "server/serving/logprefix.h"
#include "server/serving/stopsignal.h"
#include "server/upkeep/configeditor.h"
#include "server/upkeep/items.h"
#include "server/upkeep/serversettings.h"
#include "server/upkeep/socketclaim.h"
#include "shared/localsocket.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "nbi-server";

/// The signals that stop the server. Blocked in every thread; WaitForStopOrder() takes them.
sigset_t StopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

void WaitForStopOrder()
{
    const sigset_t signals = StopSignals();
    int nSignal = 0;
    sigwait(&signals, &nSignal);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "signal %d: stopping", nSignal);
}

/// Whatever prints to standard output from here on, libraries included, ends up in \p path.
void RedirectOutput(const std::string& path)
{
    const int nFile = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (nFile < 0 || dup2(nFile, STDOUT_FILENO) < 0) {
        throw SettingsError("OutputFile: " + path + " cannot be written: " + std::strerror(errno));
    }
    close(nFile);
}

void MakeCollectionDirectory(const std::string& path)
{
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error || access(path.c_str(), W_OK | X_OK) != 0) {
        throw SettingsError("CollectionDirectory: " + path +
                            " cannot be written: " + (error ? error.message() : std::strerror(errno)));
    }
}

void Warn(const std::string& warning)
{
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s", warning.c_str());
    std::cerr << MODULE << ": " << warning << '\n';
}

/// The host takes any item, since it cannot know which ones its program reads.
void WarnOfItems(const nbihost::Host& host)
{
    for (const std::string& warning : ItemWarnings(host.Items())) Warn(warning);
}

void WarnOfOpenDoor(const Settings& settings)
{
    if (!settings.m_Listening.m_Tcp || settings.m_Anonymous == Role::NONE) return;
    Warn(std::string("Anonymous = ") + NameOf(settings.m_Anonymous) + ": whoever reaches " +
         settings.m_Listening.m_Tcp->m_Host + " has that role without a login");
}

/// A file that is broken costs the figures that it describes, and not the server.
Catalogue LoadDescriptions(const std::string& mainFile)
{
    Catalogue catalogue = LoadCatalogue(mainFile);
    for (const std::string& problem : catalogue.m_Problems) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "description file %s", problem.c_str());
        std::cerr << MODULE << ": description file " << problem << '\n';
    }
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%zu figures described", catalogue.m_Columns.size());
    return catalogue;
}

/// Appears under its name only when it is complete, so that a script may wait for it.
void WriteReadyFile(const std::string& path, const std::string& address)
{
    const std::string draft = path + ".part";
    std::ofstream(draft) << address << '\n';
    if (std::rename(draft.c_str(), path.c_str()) != 0) {
        throw SettingsError("--ready-file: " + path + " cannot be written: " + std::strerror(errno));
    }
}

Settings SettingsOf(const CommandLine& line)
{
    Settings settings = ReadSettings(line.m_ConfigFile);
    std::optional<TcpAddress>& tcp = settings.m_Listening.m_Tcp;
    if (!tcp && (line.m_ListenAddress || line.m_ListenPort)) tcp = {DEFAULT_ADDRESS, DEFAULT_PORT};
    if (line.m_ListenAddress) tcp->m_Host = *line.m_ListenAddress;
    if (line.m_ListenPort) tcp->m_nPort = *line.m_ListenPort;
    if (!tcp && settings.m_Listening.m_Socket.empty()) settings.m_Listening.m_Socket = DefaultSocket();
    return settings;
}

/// The pair lives as long as the process, the private key enciphered.
void MakeKeyPair()
{
    if (NS_UTIL::LocalRsaKeyMgr::Instance()->Init() == 1) return;
    throw std::runtime_error("the server's RSA key pair cannot be made; the log says why");
}

void Announce(const CommandLine& line, const OrbEndpoint& endpoint)
{
    for (const std::string& address : endpoint.Addresses()) {
        nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "serving on %s", address.c_str());
        std::cerr << MODULE << ": serving on " << address << "; stop with SIGTERM or \"nbi-client stop\"\n";
    }
    if (!line.m_ReadyFile.empty()) WriteReadyFile(line.m_ReadyFile, endpoint.Address());
}

void Run(const CommandLine& line)
{
    StopSignal stop;
    std::unique_ptr<Service> pService;
    std::shared_ptr<PortableServer::ServantBase> pServant;
    std::unique_ptr<OrbEndpoint> pEndpoint;
    nbihost::HostHooks hooks;
    hooks.m_LogPrefix = LogPrefix::Append;
    hooks.m_OnStop = [&stop, &pEndpoint] {
        stop.Raise();  // running collections end at their next sample, so that the pools need not wait
        NS_UTIL::TaskPoolMgr::ShutDown();
        if (pEndpoint) pEndpoint->Shutdown();
    };
    nbihost::Host host(line.m_ConfigFile, hooks);
    host.Start();
    const Settings settings = SettingsOf(line);
    WarnOfItems(host);
    WarnOfOpenDoor(settings);
    const SocketClaim claim(settings.m_Listening.m_Socket);
    MakeCollectionDirectory(settings.m_CollectionDirectory);
    RedirectOutput(settings.m_OutputFile);
    MakeKeyPair();
    Catalogue catalogue = LoadDescriptions(settings.m_DescriptionFile);
    ConfigEditor editor(line.m_ConfigFile, host.ItemsFile(), [&host, &line, &pService] {
        host.Reload();
        pService->Apply(SettingsOf(line));
    });
    pService = std::make_unique<Service>(settings, std::move(catalogue), editor, stop,
                                         [] { kill(getpid(), SIGTERM); });
    pServant = MakeManagerServant(*pService);
    pEndpoint = std::make_unique<OrbEndpoint>(settings.m_Listening, *pServant);
    Announce(line, *pEndpoint);
    WaitForStopOrder();
    host.Stop();
    std::cerr << MODULE << ": stopped\n";
}

int Report(const char* pWhat, ExitCode exitCode)
{
    std::cerr << MODULE << ": " << pWhat << '\n';
    return exitCode;
}

int RunReporting(const CommandLine& line)
{
    try {
        Run(line);
        return EXIT_ORDERLY;
    } catch (const nbihost::HostError& e) {
        return Report(e.what(), EXIT_BAD_INPUT);
    } catch (const SettingsError& e) {
        return Report(e.what(), EXIT_BAD_INPUT);
    } catch (const SocketError& e) {
        return Report(e.what(), EXIT_NO_ENDPOINT);
    } catch (const EndpointError& e) {
        return Report(e.what(), EXIT_NO_ENDPOINT);
    } catch (const CORBA::Exception& e) {
        return Report(e._name(), EXIT_UNFORESEEN);
    } catch (const std::exception& e) {
        return Report(e.what(), EXIT_UNFORESEEN);
    }
}

}  // namespace

int ServerMain(int nArgs, char** pArgs)
{
    CommandLine line;
    if (const std::optional<int> exitCode = Parse(nArgs, pArgs, line)) return *exitCode;
    const sigset_t signals = StopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread is started: they all inherit it
    return RunReporting(line);
}

}  // namespace northbound

int main(int nArgs, char** pArgs)
{
    try {
        return northbound::ServerMain(nArgs, pArgs);
    } catch (...) {
        std::fputs("nbi-server: unforeseen failure\n", stderr);
        return 1;
    }
}
