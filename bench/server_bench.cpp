// nbi-server under load, beside a bare omniORB servant that answers the same structure, and by TLS.
// usage: server_bench            requests per second with 1, 16 and 300 clients
//        server_bench --growth   the same with 1 to 300 clients, as lines for plot_growth.sh
//        server_bench --logins   time of "counters", quiet and under 100 threads of wrong passwords
//        server_bench --failover what a server that is gone costs the client whose list it stands first in
#include <fcntl.h>
#include <omniORB4/CORBA.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bare.hh"
#include "nbiutil/conversions.h"
#include "nbiutil/nbirsa.h"
#include "northbound.hh"
#include "rounds.h"
#include "shared/ciphertext.h"
#include "shared/corba/tlscontext.h"
#include "shared/names.h"
#include "shared/passworddigest.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;
using nbibench::Rounds;

const std::string PASSWORD = "open sesame";

/// A temporary folder.
class Folder {
public:
    Folder()
    {
        std::string path = fs::temp_directory_path().string() + "/server_benchXXXXXX";
        if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
        m_Path = path;
    }
    ~Folder()
    {
        std::error_code ignored;
        fs::remove_all(m_Path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string operator/(const std::string& name) const { return m_Path + "/" + name; }

private:
    std::string m_Path;
};

/// Starts a program one of whose outputs nobody reads.
pid_t Start(std::vector<std::string> command, int nUnread)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, nUnread, "/dev/null", O_WRONLY, 0);
    pid_t nPid = -1;
    const int nError = posix_spawn(&nPid, arguments[0], &quiet, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&quiet);
    if (nError != 0) throw std::runtime_error("cannot start " + command[0]);
    return nPid;
}

/// A child process that writes its address to a file once it serves.
class Child {
public:
    Child(const std::vector<std::string>& command, const std::string& readyFile)
        : m_nPid(Start(command, STDERR_FILENO))
    {
        for (int i = 0; i < 600 && !fs::exists(readyFile); ++i) usleep(50000);
        std::getline(std::ifstream(readyFile), m_Address);
        if (m_Address.empty()) throw std::runtime_error(command[0] + " does not serve");
    }
    ~Child()
    {
        kill(m_nPid, SIGTERM);
        kill(m_nPid, SIGCONT);
        waitpid(m_nPid, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    const std::string& Address() const { return m_Address; }

    /// Returns when all of its threads have stopped.
    void Pause() const
    {
        kill(m_nPid, SIGSTOP);
        siginfo_t info{};
        waitid(P_PID, static_cast<id_t>(m_nPid), &info, WSTOPPED | WEXITED | WNOWAIT);
    }
    void GoOn() const { kill(m_nPid, SIGCONT); }

private:
    pid_t m_nPid;
    std::string m_Address;
};

std::string HostName()
{
    char name[256] = {};
    gethostname(name, sizeof(name) - 1);
    return name;
}

const std::string DN = "ne=" + HostName() + ",port=lo";

/// nbi-server, with TLS or without; readers need no login.
std::unique_ptr<Child> StartServer(const Folder& folder, bool bTls)
{
    const std::string name = bTls ? "tls" : "tcp";
    const std::string config = folder / (name + ".ini");
    const std::string digest = northbound::PasswordDigest("anna", PASSWORD.data(), PASSWORD.size());
    std::ofstream(config) << "[host]\nroot = .\nlog_file = " << name
                          << ".log\nlog_stderr = no\n[server]\nListenPort = 0\n"
                          << "Anonymous = reader\nOutputFile = " << name
                          << ".out\nCollectionDirectory = " << name
                          << "\nDescriptionFile = " << NBI_DESCRIPTIONS
                          << "/northbound.xml\nPassword_anna = " << digest << "\n"
                          << (bTls ? "TlsCertificate = server.pem\nTlsKey = server-key.pem\n" : "");
    const std::string ready = folder / (name + ".ready");
    return std::make_unique<Child>(
        std::vector<std::string>{NBI_SERVER, "--config", config, "--ready-file", ready}, ready);
}

/// The client's ORB, one at a time.
class Client {
public:
    /// \param address "<host>:<port>", "tls:<host>:<port>" or "IOR:..."
    Client(const std::string& address, const std::string& authority)
    {
        const std::string scheme = northbound::TLS_SCHEME;
        const bool bTls = Begins(address, scheme);
        if (bTls) {
            northbound::TlsContext::InstallForClient({authority, "", ""},
                                                     {[](auto&, auto&) {}, [] {}, [] {}});
        }
        const char* options[][2] = {
            {"maxGIOPConnectionPerServer", "1000"}, {"traceLevel", "0"}, {nullptr, nullptr}};
        int nArgs = 0;
        m_Orb = CORBA::ORB_init(nArgs, nullptr, "omniORB4", options);
        if (bTls) northbound::TlsContext::Expect("127.0.0.1");
        std::string location = "corbaloc:iiop:" + address + "/" + northbound::OBJECT_KEY;
        if (bTls) {
            location = "corbaloc:ssliop:" + address.substr(scheme.size()) + "/" + northbound::OBJECT_KEY;
        }
        if (Begins(address, "IOR:")) location = address;
        m_Object = m_Orb->string_to_object(location.c_str());
    }
    ~Client() { m_Orb->destroy(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    template <class Interface>
    typename Interface::_var_type As() const
    {
        return Interface::_unchecked_narrow(m_Object.in());
    }

private:
    static bool Begins(const std::string& text, const std::string& start)
    {
        return text.compare(0, start.size(), start) == 0;
    }

    CORBA::ORB_var m_Orb;
    CORBA::Object_var m_Object;
};

class BareReader final : public POA_Bare::Reader {
public:
    Northbound::Reading* ReadCounters(const Northbound::Caller& /*who*/, const char* pDn) override
    {
        auto* const pReading = new Northbound::Reading;
        pReading->dn = pDn;
        pReading->takenAt = "2001-02-03T04:05:06.789Z";
        pReading->counting.length(10);
        for (CORBA::ULong i = 0; i < 10; ++i) {
            Northbound::Figure& figure = pReading->counting[i];
            figure.name = "carrierChanges";
            figure.unit = "packets";
            figure.known = true;
            figure.value = 1234567890;
        }
        return pReading;
    }
};

/// The child: serves until it is told to stop.
int ServeBare(const std::string& readyFile)
{
    const char* options[][2] = {{"endPoint", "giop:tcp:127.0.0.1:"},
                                {"threadPerConnectionUpperLimit", "100000000"},
                                {"threadPerConnectionLowerLimit", "99999999"},
                                {"traceLevel", "0"},
                                {nullptr, nullptr}};
    int nArgs = 0;
    const CORBA::ORB_var orb = CORBA::ORB_init(nArgs, nullptr, "omniORB4", options);
    const CORBA::Object_var root = orb->resolve_initial_references("omniINSPOA");
    const PortableServer::POA_var adapter = PortableServer::POA::_narrow(root);
    BareReader servant;
    const PortableServer::ObjectId_var key = PortableServer::string_to_ObjectId(northbound::OBJECT_KEY);
    adapter->activate_object_with_id(key, &servant);
    const PortableServer::POAManager_var manager = adapter->the_POAManager();
    manager->activate();
    const CORBA::Object_var object = adapter->id_to_reference(key);
    std::ofstream(readyFile + ".part") << orb->object_to_string(object) << '\n';
    fs::rename(readyFile + ".part", readyFile);
    orb->run();
    return 0;
}

struct Load {
    double m_PerSecond = 0;
    double m_P99 = 0;  // microseconds
    unsigned long m_nLost = 0;
    unsigned long m_nWrong = 0;
};

/// \return whether the answer is right
using Ask = std::function<bool()>;

double Percentile99(std::vector<double>& times)
{
    const auto at = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 99 / 100);
    std::nth_element(times.begin(), at, times.end());
    return *at;
}

/// Each client asks once before, which makes its connection.
Load Measure(int nClients, int nRequests, const Ask& ask)
{
    std::atomic<int> nReady{0};
    std::atomic<bool> bGo{false};
    std::atomic<unsigned long> nLost{0};
    std::atomic<unsigned long> nWrong{0};
    std::vector<std::vector<double>> times(static_cast<std::size_t>(nClients));
    std::vector<std::thread> clients;
    const int nEach = std::max(1, nRequests / nClients);
    const auto one = [&] {
        try {
            if (!ask()) ++nWrong;
        } catch (const CORBA::Exception&) {
            ++nLost;
        }
    };
    clients.reserve(static_cast<std::size_t>(nClients));
    for (int i = 0; i < nClients; ++i) {
        clients.emplace_back([&, i] {
            one();
            ++nReady;
            while (!bGo) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            for (int n = 0; n < nEach; ++n) {
                const Clock::time_point begin = Clock::now();
                one();
                times[static_cast<std::size_t>(i)].push_back(Microseconds(Clock::now() - begin).count());
            }
        });
    }
    while (nReady < nClients) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const Clock::time_point begin = Clock::now();
    bGo = true;
    for (std::thread& client : clients) client.join();
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    std::vector<double> all;
    for (const std::vector<double>& some : times) all.insert(all.end(), some.begin(), some.end());
    return {nEach * nClients / seconds, Percentile99(all), nLost, nWrong};
}

bool IsRight(const Northbound::Reading& reading)
{
    bool bRight = reading.dn.in() == DN && reading.counting.length() == 10;
    for (CORBA::ULong i = 0; bRight && i < reading.counting.length(); ++i) {
        bRight = reading.counting[i].name.in()[0] != 0;
    }
    return bRight;
}

Northbound::Caller Who(const char* pUser)
{
    Northbound::Caller who;
    who.user = pUser;
    who.patience = 60000;
    return who;
}

/// Interface: Northbound::Manager or Bare::Reader.
template <class Interface>
Load Measure(const std::string& address, const Folder& folder, int nClients, int nRequests)
{
    const Client client(address, folder / "authority.pem");
    const typename Interface::_var_type object = client.As<Interface>();
    return Measure(nClients, nRequests, [&object] {
        const Northbound::Reading_var reading = object->ReadCounters(Who("bench"), DN.c_str());
        return IsRight(reading.in());
    });
}

/// The median of its rounds by throughput, and all that was lost or wrong.
Load Median(std::vector<Load> loads)
{
    std::sort(loads.begin(), loads.end(),
              [](const Load& a, const Load& b) { return a.m_PerSecond < b.m_PerSecond; });
    Load median = loads[loads.size() / 2];
    median.m_nLost = median.m_nWrong = 0;
    for (const Load& load : loads) {
        median.m_nLost += load.m_nLost;
        median.m_nWrong += load.m_nWrong;
    }
    return median;
}

void MakeCertificates(const Folder& folder)
{
    const std::string command =
        std::string(NBI_CERTIFICATES) + " '" + (folder / "") + "' 127.0.0.1 >/dev/null";
    if (std::system(command.c_str()) != 0) throw std::runtime_error("no certificates");
}

/// The bare servant, the server, and the server with TLS.
class Contestants {
public:
    static constexpr std::size_t COUNT = 3;

    explicit Contestants(const std::string& self)
    {
        MakeCertificates(m_Folder);
        const std::string ready = m_Folder / "bare.ready";
        m_pBare = std::make_unique<Child>(std::vector<std::string>{self, "--bare", ready}, ready);
        m_pTcp = StartServer(m_Folder, false);
        m_pTls = StartServer(m_Folder, true);
    }

    /// In turn; of each the median of the rounds.
    std::array<Load, COUNT> Measure(int nClients, int nUsualRequests) const
    {
        const int nRequests = Rounds(nUsualRequests);
        std::array<std::vector<Load>, COUNT> loads;
        for (int i = 0; i < Rounds(5); ++i) {
            loads[0].push_back(Of<Bare::Reader>(*m_pBare, nClients, nRequests));
            loads[1].push_back(Of<Northbound::Manager>(*m_pTcp, nClients, nRequests));
            loads[2].push_back(Of<Northbound::Manager>(*m_pTls, nClients, nRequests));
        }
        return {Median(loads[0]), Median(loads[1]), Median(loads[2])};
    }

private:
    template <class Interface>
    Load Of(const Child& child, int nClients, int nRequests) const
    {
        return ::Measure<Interface>(child.Address(), m_Folder, nClients, nRequests);
    }

    Folder m_Folder;
    std::unique_ptr<Child> m_pBare;
    std::unique_ptr<Child> m_pTcp;
    std::unique_ptr<Child> m_pTls;
};

void CompareLoads(const std::string& self)
{
    const Contestants contestants(self);
    std::printf(
        "| clients | bare servant | nbi-server | ratio | with TLS | ratio | p99 of the three | lost | wrong "
        "|\n"
        "| --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
    for (const auto& [nClients, nRequests] : {std::pair{1, 5000}, {16, 16000}, {300, 30000}}) {
        const auto [bare, tcp, tls] = contestants.Measure(nClients, nRequests);
        std::printf("| %d | %.0f | %.0f | %.2f | %.0f | %.2f | %.2f, %.2f, %.2f ms | %lu | %lu |\n", nClients,
                    bare.m_PerSecond, tcp.m_PerSecond, tcp.m_PerSecond / bare.m_PerSecond, tls.m_PerSecond,
                    tls.m_PerSecond / tcp.m_PerSecond, bare.m_P99 / 1000, tcp.m_P99 / 1000, tls.m_P99 / 1000,
                    bare.m_nLost + tcp.m_nLost + tls.m_nLost, bare.m_nWrong + tcp.m_nWrong + tls.m_nWrong);
        std::fflush(stdout);
    }
}

/// Lines "curve, contestant, x, y" for plot_growth.sh.
void PrintGrowth(const std::string& self)
{
    const Contestants contestants(self);
    constexpr std::array<const char*, Contestants::COUNT> NAMES{"bare servant", "nbi-server", "with TLS"};
    std::printf("# server_bench --growth: requests a second\n");
    for (const int nClients : {1, 4, 16, 64, 300}) {
        const auto loads = contestants.Measure(nClients, std::max(5000, nClients * 100));
        for (std::size_t i = 0; i < loads.size(); ++i) {
            if (loads[i].m_nLost + loads[i].m_nWrong != 0) {
                throw std::runtime_error("answers were lost or wrong");
            }
            std::printf("clients\t%s\t%d\t%.0f\n", NAMES[i], nClients, loads[i].m_PerSecond);
        }
        std::fflush(stdout);
    }
}

std::string ToHex(const unsigned char* pBytes, long nLength)
{
    return NS_UTIL::ByteToHex(pBytes, static_cast<int>(nLength));
}

/// Tries one wrong password.
/// \return whether the server looked at it, and did not send the caller away at once
bool TryPassword(Northbound::Manager_ptr manager, const Northbound::Bytes& key)
{
    const Northbound::Caller who = Who("anna");
    const CORBA::String_var challenge = manager->Challenge(who);
    const std::string secret = std::string(challenge.in()) + "wrong";
    char* pCipher = nullptr;
    auto nLength = static_cast<long>(secret.size());
    NS_UTIL::RsaAlgorithm::Encrypt(pCipher, secret.data(), nLength,
                                   reinterpret_cast<const char*>(key.get_buffer()),
                                   static_cast<int>(key.length()));
    const std::unique_ptr<char[]> pOwned(pCipher);
    try {
        const CORBA::String_var session =
            manager->Login(who, ToHex(reinterpret_cast<unsigned char*>(pCipher), nLength).c_str());
    } catch (const Northbound::OperationFailed& failure) {
        return failure.code == northbound::ErrCode::NOT_LOGGED_IN;
    }
    return true;
}

/// The child: 100 threads, each of which tries wrong passwords as fast as it is answered. They come from another machine in
/// life, so here they leave the processors to the others.
int Attack(const std::string& address, const std::string& readyFile)
{
    setpriority(PRIO_PROCESS, 0, 19);
    const Client client(address, "");
    const Northbound::Manager_var manager = client.As<Northbound::Manager>();
    const Northbound::Bytes_var key = manager->PublicKey(Who("anna"));
    std::vector<std::thread> threads;
    threads.reserve(100);
    std::atomic<int> nTried{0};
    for (int i = 0; i < 100; ++i) {
        threads.emplace_back([&] {
            for (;;) {
                TryPassword(manager, key.in());
                ++nTried;
            }
        });
    }
    while (nTried < 500) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::ofstream(readyFile + ".part") << "trying\n";
    fs::rename(readyFile + ".part", readyFile);
    for (std::thread& thread : threads) thread.join();
    return 0;
}

/// The value below which so many percent of them lie.
double Percentile(std::vector<double> values, std::size_t nPercent)
{
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() * nPercent / 100, values.size() - 1)];
}

/// The 99th percentiles of all rounds, in milliseconds.
void Print(const char* pWhat, const std::vector<double>& p99)
{
    std::printf("| %s | %.2f | %.2f | %.2f |\n", pWhat, Percentile(p99, 25), Percentile(p99, 50),
                Percentile(p99, 75));
}

/// Quiet and under attack in turn, many times, so that what else the machine does falls on both alike.
void MeasureLogins(const std::string& self)
{
    const Folder folder;
    const std::unique_ptr<Child> pServer = StartServer(folder, false);
    const Client client(pServer->Address(), folder / "authority.pem");
    const Northbound::Manager_var manager = client.As<Northbound::Manager>();
    const auto measure = [&] {
        const Load load = Measure(1, Rounds(500), [&manager] {
            const Northbound::Reading_var reading = manager->ReadCounters(Who("bench"), DN.c_str());
            return IsRight(reading.in());
        });
        if (load.m_nLost + load.m_nWrong != 0) throw std::runtime_error("answers were lost or wrong");
        return load.m_P99 / 1000;
    };
    const std::string ready = folder / "attack";
    const Child attack({self, "--attack", pServer->Address(), ready}, ready);
    std::vector<double> quiet;
    std::vector<double> tried;
    std::vector<double> ratios;
    for (int i = 0; i < Rounds(60); ++i) {
        attack.Pause();
        quiet.push_back(measure());
        attack.GoOn();
        tried.push_back(measure());
        ratios.push_back(tried.back() / quiet.back());
    }
    std::printf(
        "| counters, p99 of %zu rounds | first quartile | median | third quartile |\n| --- | --- | --- | --- "
        "|\n",
        quiet.size());
    Print("quiet, ms", quiet);
    Print("under 100 threads of wrong passwords, ms", tried);
    Print("ratio of neighbouring rounds", ratios);
    std::printf("ratio of the medians: %.2f\n", Percentile(tried, 50) / Percentile(quiet, 50));
}

/// Milliseconds of a whole nbi-client that asks for counters.
double AskAsProcess(const std::string& config, const std::string& servers)
{
    const Clock::time_point start = Clock::now();
    const pid_t nPid =
        Start({NBI_CLIENT, "--config", config, "--server", servers, "counters", "lo"}, STDOUT_FILENO);
    int nStatus = -1;
    if (waitpid(nPid, &nStatus, 0) != nPid || nStatus != 0) {
        throw std::runtime_error("nbi-client has no answer from " + servers);
    }
    return Microseconds(Clock::now() - start).count() / 1000;
}

/// With and without it in turn.
void MeasureFailover()
{
    const Folder goneFolder;
    const std::string gone = StartServer(goneFolder, false)->Address();
    const Folder folder;
    const std::unique_ptr<Child> pServer = StartServer(folder, false);
    const std::string config = folder / "client.ini";
    std::ofstream(config) << "[host]\nroot = .\nlog_stderr = no\n";
    std::vector<double> alone;
    std::vector<double> behind;
    std::vector<double> more;
    for (int i = 0; i < Rounds(200); ++i) {
        alone.push_back(AskAsProcess(config, pServer->Address()));
        behind.push_back(AskAsProcess(config, gone + "," + pServer->Address()));
        more.push_back(behind.back() - alone.back());
    }
    std::printf(
        "| nbi-client counters, ms, %zu rounds | median | p99 | longest |\n| --- | --- | --- | --- |\n",
        alone.size());
    const auto print = [](const char* pWhat, const std::vector<double>& times) {
        std::printf("| %s | %.1f | %.1f | %.1f |\n", pWhat, Percentile(times, 50), Percentile(times, 99),
                    Percentile(times, 100));
    };
    print("one server", alone);
    print("behind one that is gone", behind);
    print("more, of neighbouring rounds", more);
    std::printf("ratio of the medians: %.2f\n", Percentile(behind, 50) / Percentile(alone, 50));
}

int Run(const std::string& self, const std::vector<std::string>& words)
{
    const std::string mode = words.empty() ? "" : words[0];
    if (mode == "--bare") return ServeBare(words.at(1));
    if (mode == "--attack") return Attack(words.at(1), words.at(2));
    if (mode == "--logins") {
        MeasureLogins(self);
    } else if (mode == "--failover") {
        MeasureFailover();
    } else if (mode == "--growth") {
        PrintGrowth(self);
    } else {
        CompareLoads(self);
    }
    return 0;
}

}  // namespace

int main(int nArgs, char** pArgs)
{
    try {
        return Run(pArgs[0], {pArgs + 1, pArgs + nArgs});
    } catch (const std::exception& e) {
        std::fprintf(stderr, "server_bench: %s\n", e.what());
    } catch (const CORBA::Exception& e) {
        std::fprintf(stderr, "server_bench: %s\n", e._name());
    }
    return 1;
}
