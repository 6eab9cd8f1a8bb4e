/// \file
/// nbi-server: starts the host, the pools and the ORB, waits for the order to stop, and ends them in turn.
#include <fcntl.h>
#include <malloc.h>
#include <openssl/crypto.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "nbihost/standalone.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbitaskmgr.h"
#include "server/cluster/bookplugin.h"
#include "server/cluster/enginefailure.h"
#include "server/commandline.h"
#include "server/corba/managerservant.h"
#include "server/corba/orbendpoint.h"
#include "server/figures/catalogue.h"
#include "server/operations/service.h"
#include "server/serving/heartbeat.h"
#include "server/serving/logprefix.h"
#include "server/serving/safename.h"
#include "server/serving/servicemanager.h"
#include "server/serving/stopsignal.h"
#include "server/serving/timetable.h"
#include "server/upkeep/collectionfiles.h"
#include "server/upkeep/configeditor.h"
#include "server/upkeep/items.h"
#include "server/upkeep/leftovers.h"
#include "server/upkeep/logclaim.h"
#include "server/upkeep/metrics.h"
#include "server/upkeep/serversettings.h"
#include "server/upkeep/socketclaim.h"
#include "shared/descriptor.h"
#include "shared/localsocket.h"
#include "shared/names.h"
#include "shared/version.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "nbi-server";
constexpr const char* DRAFT = ".part";
constexpr std::chrono::seconds METRICS_INTERVAL(15);

/// How long a start waits for what a killed server has set to pack.
constexpr std::chrono::seconds PACKING_TIME(30);

/// What is ordered by signals: SIGHUP to read the configuration again and to open the log anew, SIGUSR1 to log the
/// server's state, the others to stop. Blocked in every
/// thread; Serve() takes them.
sigset_t OrderedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    sigaddset(&signals, SIGUSR1);
    return signals;
}

/// What this thread waits for.
struct Event {
    int m_nSignal = 0;  // 0: none
    int m_nAsked = -1;  // where somebody asks for the metrics; -1: nobody does
};

/// \return nothing when neither has come in \p limit
Event NextEvent(int nSignals, const Metrics& metrics, std::chrono::milliseconds limit)
{
    const auto [nSocket, nPort] = metrics.Descriptors();
    pollfd sources[] = {{nSignals, POLLIN, 0}, {nSocket, POLLIN, 0}, {nPort, POLLIN, 0}};
    Event event;
    if (poll(sources, std::size(sources), static_cast<int>(limit.count())) <= 0) return event;
    for (const pollfd& source : {sources[1], sources[2]}) {
        if (source.revents != 0) event.m_nAsked = source.fd;
    }
    signalfd_siginfo signal{};
    if (read(nSignals, &signal, sizeof(signal)) == sizeof(signal)) {
        event.m_nSignal = static_cast<int>(signal.ssi_signo);
    }
    return event;
}

/// Readable when one of the ordered signals has come.
int OpenSignals()
{
    const sigset_t signals = OrderedSignals();
    const int nSignals = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (nSignals < 0) throw std::runtime_error(std::string("signals: ") + std::strerror(errno));
    return nSignals;
}

/// A configuration that does not load is logged, and the limits before it stay in force.
void Reload(const ServiceManager& manager, ConfigEditor& editor)
{
    manager.TellReloading();
    try {
        editor.Reload();
        nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE,
                     "the configuration was read again, the log opened anew");
    } catch (const std::exception& e) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "%s; the limits stay as they were", e.what());
    }
    manager.Tell("READY=1");
}

/// Returns with the order to stop. Until then the manager hears that this thread still takes orders, and that the pools
/// do their work.
void Serve(const ServiceManager& manager, ConfigEditor& editor, Service& service, Metrics& metrics)
{
    const Descriptor signals(OpenSignals());
    Heartbeat heartbeat(manager);
    Timetable timetable;
    service.Schedule(timetable);
    timetable.Add(manager.BeatInterval(), [&heartbeat] { heartbeat.Beat(NS_UTIL::TakePoolSnapshots()); });
    if (metrics.HasFile()) {
        metrics.WriteFile();
        timetable.Add(METRICS_INTERVAL, [&metrics] { metrics.WriteFile(); });
    }
    for (;;) {
        const Event event = NextEvent(signals.Number(), metrics, timetable.Left());
        timetable.Run();
        if (event.m_nAsked >= 0) metrics.Answer(event.m_nAsked);
        if (event.m_nSignal == SIGHUP) {
            Reload(manager, editor);
        } else if (event.m_nSignal == SIGUSR1) {
            service.LogState();
        } else if (event.m_nSignal != 0) {
            nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "signal %d: stopping", event.m_nSignal);
            return manager.Tell("STOPPING=1");
        }
    }
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

PostgresBookSettings BookSettingsOf(const BookPlace& place)
{
    constexpr int PARTS = 6;
    PostgresBookSettings book;
    book.m_Connection = place.m_Connection;
    book.m_Server = place.m_Server;
    book.m_Version = ThisVersion().m_pNumber;
    for (const std::string& element : place.m_Elements) book.m_Elements.push_back("ne=" + SafeName(element));
    book.m_Lease = place.m_Lease;
    book.m_Fence = book.m_Lease * (PARTS - 1) / PARTS;
    return book;
}

/// The shared book that the settings name. Null without one, and nothing of the engine's library is loaded then.
std::unique_ptr<CollectionBook> BookOf(const Settings& settings)
{
    const BookPlace& place = settings.m_Book;
    if (place.m_Connection.empty()) return nullptr;
    try {
        std::unique_ptr<CollectionBook> pBook = BookThroughPlugin(BookSettingsOf(place));
        const std::string trouble = TroubleThroughPlugin(place.m_Connection);
        if (!trouble.empty()) Warn("Book: " + trouble + "; no collection is accepted meanwhile");
        return pBook;
    } catch (const std::invalid_argument& e) {
        throw SettingsError(std::string("Book: ") + e.what());
    }
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

/// What a killed server has left would tell a script that this one serves already.
void RemoveReadyFile(const std::string& path)
{
    if (path.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    std::filesystem::remove(path + DRAFT, ignored);
}

/// Appears under its name only when it is complete, so that a script may wait for it.
void WriteReadyFile(const std::string& path, const std::string& address)
{
    const std::string draft = path + DRAFT;
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

void LogStart(const CommandLine& line)
{
    const std::string version = VersionText(MODULE);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%s starts as process %d with %s",
                 version.substr(0, version.find('\n')).c_str(), static_cast<int>(getpid()),
                 line.m_ConfigFile.c_str());
}

/// What keeps the server from starting is in the log too, which ends before the exception is reported.
template <class Work>
void Logged(Work work)
{
    try {
        work();
    } catch (const std::exception& e) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "not started: %s", e.what());
        throw;
    } catch (const CORBA::Exception& e) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "not started: %s", e._name());
        throw;
    }
}

void Run(const CommandLine& line, const ServiceManager& manager)
{
    StopSignal stop;
    std::unique_ptr<Service> pService;
    std::shared_ptr<PortableServer::ServantBase> pServant;
    std::unique_ptr<OrbEndpoint> pEndpoint;
    nbihost::HostHooks hooks;
    hooks.m_LogPrefix = LogPrefix::Append;
    hooks.m_OnStop = [&stop, &pService, &pEndpoint] {
        stop.Raise();  // running collections end at their next sample, so that the pools need not wait
        NS_UTIL::TaskPoolMgr::ShutDown();
        if (pService) pService->Leave();
        if (pEndpoint) pEndpoint->Shutdown();
        nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "stopped");
    };
    nbihost::Host host(line.m_ConfigFile, hooks);
    LogClaim log(host.LogFile());  // before a line is written
    RemoveReadyFile(line.m_ReadyFile);
    host.Start();
    LogStart(line);
    Logged([&] {
        const Settings settings = SettingsOf(line);
        WarnOfItems(host);
        WarnOfOpenDoor(settings);
        const SocketClaim claim(settings.m_Listening.m_Socket, settings.m_Listening.m_SocketGroup);
        const auto figures = [&host] {
            return MetricsText(NS_UTIL::TakePoolSnapshots(), NS_UTIL::TakeProcessSnapshot(),
                               host.LinesLost());
        };
        Metrics metrics(settings.m_Metrics, figures, settings.m_Listening.m_SocketGroup);
        const std::string folder = FilesOf(settings).OwnFolder();
        const FolderClaim collections("CollectionDirectory", folder);
        AwaitPackers(folder, PACKING_TIME);
        RemoveDrafts(host.ItemsFile());
        RedirectOutput(settings.m_OutputFile);
        MakeKeyPair();
        Catalogue catalogue = LoadDescriptions(settings.m_DescriptionFile);
        ConfigEditor editor(line.m_ConfigFile, host.ItemsFile(), [&host, &log, &line, &pService] {
            const LogClaim next = log.For(nbihost::Host(line.m_ConfigFile).LogFile());
            host.Reload();
            log = next;
            pService->Apply(SettingsOf(line));
        });
        pService = std::make_unique<Service>(
            settings, std::move(catalogue), editor, stop, [] { kill(getpid(), SIGTERM); },
            [&host] { return host.LinesLost(); }, BookOf(settings));
        pService->TakeOver();
        pServant = MakeManagerServant(*pService);
        pEndpoint = std::make_unique<OrbEndpoint>(settings.m_Listening, settings.m_Connections, *pServant);
        const std::string& address = settings.m_Book.m_Address;
        pService->Join(address.empty() ? pEndpoint->Address() : address);
        Announce(line, *pEndpoint);
        manager.Tell("READY=1");
        Serve(manager, editor, *pService, metrics);
        host.Stop();
    });
    std::cerr << MODULE << ": stopped\n";
}

int Report(const char* pWhat, ExitCode exitCode)
{
    std::cerr << MODULE << ": " << pWhat << '\n';
    return exitCode;
}

int RunReporting(const CommandLine& line, const ServiceManager& manager)
{
    try {
        Run(line, manager);
        return EXIT_ORDERLY;
    } catch (const nbihost::HostError& e) {
        return Report(e.what(), EXIT_BAD_INPUT);
    } catch (const SettingsError& e) {
        return Report(e.what(), EXIT_BAD_INPUT);
    } catch (const TlsError& e) {
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

/// A server that runs for years gives freed memory back to the system. As it comes, the heap would keep as much for
/// good as the largest block that was ever freed, and once for each arena: eight to a core.
void LimitHeap()
{
    constexpr int KEPT = 128 * 1024;
    constexpr int ARENAS = 4;
    mallopt(M_MMAP_THRESHOLD, KEPT);
    mallopt(M_TRIM_THRESHOLD, KEPT);
    mallopt(M_ARENA_MAX, ARENAS);
}

/// Reads no configuration: the database's owner need not be the server's user, nor on its machine.
int Migrate(const std::string& connection)
{
    try {
        MigrateThroughPlugin(connection);
        std::cerr << MODULE << ": the database has this version's schema\n";
        return EXIT_ORDERLY;
    } catch (const EngineAway& e) {
        return Report(e.what(), EXIT_NO_ENDPOINT);
    } catch (const EngineRefusal& e) {
        return Report(e.what(), EXIT_BAD_INPUT);
    } catch (const std::invalid_argument& e) {
        return Report(e.what(), EXIT_BAD_INPUT);
    } catch (const std::exception& e) {
        return Report(e.what(), EXIT_UNFORESEEN);
    }
}

}  // namespace

int ServerMain(int nArgs, char** pArgs)
{
    LimitHeap();
    CommandLine line;
    if (const std::optional<int> exitCode = Parse(nArgs, pArgs, line)) return *exitCode;
    if (line.m_Migrate) return Migrate(*line.m_Migrate);
    // The last of the ORB's threads outlive main, and what OpenSSL would free there may still be in their hands.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    const ServiceManager manager;
    const sigset_t signals = OrderedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread is started: they all inherit it
    return RunReporting(line, manager);
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
