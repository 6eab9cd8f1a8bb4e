// Server and clients as they run in earnest: processes of their own, over the loopback interface.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <thread>

#include "collections.h"
#include "names.h"
#include "nbiutil/errcode.h"
#include "programs.h"
#include "session.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

constexpr unsigned int MINUTE = 60000;  // milliseconds

std::string Loopback()
{
    char host[256] = {};
    gethostname(host, sizeof(host) - 1);
    return "ne=" + std::string(host) + ",port=lo";
}

Northbound::CollectionOrder Order(unsigned int nInterval, unsigned int nDuration,
                                  const std::string& dn = Loopback())
{
    Northbound::CollectionOrder work;
    work.dn = dn.c_str();
    work.interval = nInterval;
    work.duration = nDuration;
    return work;
}

/// The failure that \p request ends with; code 0 when it does not fail.
Northbound::OperationFailed FailureOf(const std::function<void()>& request)
{
    try {
        request();
    } catch (const Northbound::OperationFailed& e) {
        return e;
    }
    return Northbound::OperationFailed(0, "");
}

Northbound::Caller CallerOf(const std::string& user)
{
    Northbound::Caller who;
    who.user = user.c_str();
    return who;
}

unsigned int TasksListed(const Session& session)
{
    const Northbound::HugeTaskList_var tasks = session.Server()->HugeTasks(session.Who());
    return tasks.in().length();
}

void Collect(const Session& session, const Northbound::CollectionOrder& work)
{
    const Northbound::CollectionResult_var result = session.Server()->Collect(session.Who(), work);
}

unsigned long long FigureOf(const Northbound::FigureList& figures, const std::string& name)
{
    for (CORBA::ULong i = 0; i < figures.length(); ++i) {
        if (name == figures[i].name.in() && figures[i].known) return figures[i].value;
    }
    ADD_FAILURE() << name << " is not known";
    return 0;
}

void ReadCounters(const Session& session, const Northbound::Caller& who, const std::string& dn)
{
    const Northbound::Reading_var reading = session.Server()->ReadCounters(who, dn.c_str());
    EXPECT_EQ(reading.in().dn.in(), dn);
    EXPECT_GT(FigureOf(reading.in().counting, "rxBytes"), 0u);
}

void ReadInventory(const Session& session, const Northbound::Caller& who)
{
    const Northbound::PortList_var ports = session.Server()->Inventory(who);
    EXPECT_GT(ports.in().length(), 0u);
}

/// Stops the server and expects it to end in order, within every wait that it has.
void StopInOrder(Server& server)
{
    server.Process().Signal(SIGTERM);
    EXPECT_EQ(server.Process().Wait(), 0) << server.Process().StandardError();
}

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

TEST(NorthboundTest, InventoryNamesTheMachinesPortsWithStateAddressesAndCounters)
{
    const Server server;
    const Session session(server.Address(), "alice");
    const Northbound::PortList_var ports = session.Server()->Inventory(session.Who());
    bool bFound = false;
    for (CORBA::ULong i = 0; i < ports->length(); ++i) {
        const Northbound::Port& port = ports.in()[i];
        if (std::string(port.name.in()) != "lo") continue;
        bFound = true;
        EXPECT_EQ(port.dn.in(), Loopback());
        EXPECT_STREQ(port.state.in(), "up");
        ASSERT_GT(port.addresses.length(), 0u);
        EXPECT_STREQ(port.addresses[0].in(), "127.0.0.1/8");
        EXPECT_GT(port.mtu, 0u);
        EXPECT_GT(FigureOf(port.counting, "rxPackets"), 0u);  // this very conversation
    }
    EXPECT_TRUE(bFound);
}

TEST(NorthboundTest, CountersOfOnePortGrowWithItsTraffic)
{
    const Server server;
    const Session session(server.Address(), "alice");
    const std::string dn = Loopback();
    const Northbound::Reading_var first = session.Server()->ReadCounters(session.Who(), dn.c_str());
    const Northbound::Reading_var second = session.Server()->ReadCounters(session.Who(), dn.c_str());
    EXPECT_EQ(first.in().dn.in(), dn);
    EXPECT_GT(FigureOf(second.in().counting, "rxBytes"), FigureOf(first.in().counting, "rxBytes"));
    EXPECT_LE(std::string(first.in().takenAt.in()), second.in().takenAt.in());
}

TEST(NorthboundTest, RequestsThatCannotBeCarriedOutFailWithCodeAndDetail)
{
    Server server;
    const Session session(server.Address(), "alice");
    const auto unknown = FailureOf([&] { ReadCounters(session, session.Who(), "ne=x,port=y"); });
    EXPECT_EQ(unknown.code, ErrCode::UNKNOWN_OBJECT);
    EXPECT_STREQ(unknown.detail.in(), "there is no managed object \"ne=x,port=y\"");

    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 100, "ne=x,port=y")); }).code,
              ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(0, 100)); }).code, ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(9, 100)); }).code, ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 99)); }).code, ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 24 * 60 * MINUTE + 1)); }).code,
              ErrCode::BAD_ARGUMENT);

    const Northbound::Caller longName = CallerOf(std::string(65, 'x'));
    EXPECT_EQ(FailureOf([&] { session.Server()->Stop(longName); }).code, ErrCode::BAD_ARGUMENT);
    StopInOrder(server);
}

TEST(NorthboundTest, CollectionWritesOneLinePerSampleAndAnswersWithTheFile)
{
    Server server;
    const Session session(server.Address(), "alice");
    const Northbound::CollectionResult_var result = session.Server()->Collect(session.Who(), Order(20, 200));
    EXPECT_EQ(result->samples, 11u);
    const std::string file = result->file.in();
    EXPECT_EQ(file, server.Directory() + "/collections/perf-lo-" + result->operation.in() + ".csv");
    const std::string text = ReadFile(file);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 12);
    EXPECT_TRUE(StartsWith(text, "time,rxBytes,"));
    StopInOrder(server);
}

TEST(NorthboundTest, CollectionFileThatCannotBeWrittenIsAFailure)
{
    Server server;
    const Session session(server.Address(), "alice");
    fs::remove_all(server.Directory() + "/collections");
    const auto failure = FailureOf([&] { Collect(session, Order(20, 20)); });
    EXPECT_EQ(failure.code, ErrCode::FILE_NOT_WRITTEN);
    EXPECT_NE(std::string(failure.detail.in()).find("/collections/perf-lo-"), std::string::npos);
    StopInOrder(server);
}

TEST(NorthboundTest, CollectionsRunSideBySideAndTheListTellsHowFarTheyAre)
{
    Server server("HugeTaskLimit = 4\n");
    const Session session(server.Address(), "alice");
    {
        std::list<Collection> running;
        for (int i = 0; i < 4; ++i) running.emplace_back(session, Order(20, 10 * MINUTE), MINUTE);
        EXPECT_TRUE(Eventually([&] {
            const Northbound::HugeTaskList_var tasks = session.Server()->HugeTasks(session.Who());
            unsigned int nUnderWay = 0;
            for (CORBA::ULong i = 0; i < tasks->length(); ++i) {
                const Northbound::HugeTask& task = tasks.in()[i];
                EXPECT_EQ(task.dn.in(), Loopback());
                EXPECT_EQ(task.list.in(), Loopback() + " 3 collect");
                EXPECT_STREQ(task.user.in(), "alice");
                EXPECT_EQ(task.samplesPlanned, 10 * MINUTE / 20 + 1);
                if (task.samplesTaken >= 3) ++nUnderWay;
            }
            return nUnderWay == 4;
        }));
        StopInOrder(server);
    }
}

TEST(NorthboundTest, CollectionBeyondTheOverallLimitIsRefusedAtOnce)
{
    Server server("HugeTaskLimit = 2\n");
    const Session session(server.Address(), "alice");
    std::list<Collection> running;
    for (int i = 0; i < 2; ++i) running.emplace_back(session, Order(100, 10 * MINUTE), MINUTE);
    ASSERT_TRUE(Eventually([&] { return TasksListed(session) == 2; }));
    const auto failure = FailureOf([&] { Collect(session, Order(100, 10 * MINUTE)); });
    EXPECT_EQ(failure.code, NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    EXPECT_STRNE(failure.detail.in(), "");
    EXPECT_EQ(TasksListed(session), 2u);
    StopInOrder(server);
}

TEST(NorthboundTest, CollectionBeginsAgainWhenOthersHaveEnded)
{
    Server server("HugeTaskLimit = 1\n");
    const Session session(server.Address(), "alice");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(FailureOf([&] { Collect(session, Order(10, 20)); }).code, 0u);
        EXPECT_TRUE(Eventually([&] { return TasksListed(session) == 0; }));
    }
    StopInOrder(server);
}

TEST(NorthboundTest, PortTakesOneCollectionMoreThanItsLimitAndRefusesTheNext)
{
    Server server("HugeTaskLimit = 100\nCollectionsPerPort = 1\n");
    const Session session(server.Address(), "alice");
    std::list<Collection> running;
    for (unsigned int i = 1; i <= 2; ++i) {
        running.emplace_back(session, Order(100, 10 * MINUTE), MINUTE);
        ASSERT_TRUE(Eventually([&] { return TasksListed(session) == i; }));
    }
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 10 * MINUTE)); }).code,
              NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    StopInOrder(server);
}

TEST(NorthboundTest, NoCollectionRunsUnderALimitOfZero)
{
    Server server("HugeTaskLimit = 0\n");
    const Session session(server.Address(), "alice");
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(10, 10)); }).code, NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    StopInOrder(server);
}

/// What many clients at once leave in the log.
class LogTest : public ::testing::Test {
protected:
    static constexpr int CLIENTS = 24;
    static constexpr int ROUNDS = 5;

    static std::string UserOf(int nClient) { return "user" + std::to_string(nClient); }

    /// In each round three requests that succeed and two that fail.
    static void Talk(const Session& session, const Northbound::Caller& who)
    {
        for (int i = 0; i < ROUNDS; ++i) {
            ReadInventory(session, who);
            ReadCounters(session, who, Loopback());
            EXPECT_EQ(FailureOf([&] { ReadCounters(session, who, "none"); }).code, ErrCode::UNKNOWN_OBJECT);
            const Northbound::CollectionResult_var result = session.Server()->Collect(who, Order(10, 20));
            EXPECT_EQ(result.in().samples, 3u);
            EXPECT_EQ(FailureOf([&] { session.Server()->Collect(who, Order(0, 1)); }).code,
                      ErrCode::BAD_ARGUMENT);
        }
    }

    static std::vector<LoggedLine> LogOfManyClients()
    {
        Server server("HugeTaskLimit = 1000\nCollectionsPerPort = 0\n");
        const Session session(server.Address(), "alice");
        std::vector<std::thread> clients;
        clients.reserve(CLIENTS);
        for (int i = 0; i < CLIENTS; ++i) {
            clients.emplace_back([&session, i] { Talk(session, CallerOf(UserOf(i))); });
        }
        for (std::thread& client : clients) client.join();
        StopInOrder(server);
        return server.Log();
    }
};

using Request = std::pair<std::string, std::string>;  // interface and user

TEST_F(LogTest, EachOperationUuidBelongsToOneRequestOfOneUser)
{
    std::map<std::string, std::set<Request>> requests;
    std::map<std::string, unsigned int> accepted;
    for (const LoggedLine& line : LogOfManyClients()) {
        if (line.m_Operation.empty()) continue;
        requests[line.m_Operation].insert({line.m_Interface, line.m_User});
        if (line.Has("request accepted")) ++accepted[line.m_Operation];
    }
    std::map<Request, unsigned int> counts;
    for (const auto& [operation, names] : requests) {
        ASSERT_EQ(names.size(), 1u) << operation;
        EXPECT_EQ(accepted[operation], 1u) << operation;
        ++counts[*names.begin()];
    }
    for (int i = 0; i < CLIENTS; ++i) {
        EXPECT_EQ((counts[{"1 inventory", UserOf(i)}]), static_cast<unsigned int>(ROUNDS));
        EXPECT_EQ((counts[{"2 counters", UserOf(i)}]), static_cast<unsigned int>(2 * ROUNDS));
        EXPECT_EQ((counts[{"3 collect", UserOf(i)}]), static_cast<unsigned int>(2 * ROUNDS));
    }
}

TEST_F(LogTest, LinesOfARequestCarryItOnItsRequestThreadAndOnItsWorker)
{
    std::map<std::string, std::set<std::string>> threads;
    for (const LoggedLine& line : LogOfManyClients()) {
        const bool bOfARequest = StartsWith(line.m_Text, "managerservant ") ||
                                 StartsWith(line.m_Text, "requests ") ||
                                 StartsWith(line.m_Text, "machine:");  // Run()'s line of a failed body
        if (bOfARequest) {
            EXPECT_FALSE(line.m_Operation.empty()) << line.m_Text;
        }
        if (line.m_Interface == "2 counters") threads[line.m_Operation].insert(line.m_Thread);
    }
    EXPECT_EQ(threads.size(), static_cast<std::size_t>(CLIENTS * 2 * ROUNDS));
    for (const auto& [operation, names] : threads) EXPECT_EQ(names.size(), 2u) << operation;
}

TEST_F(LogTest, LinesOfNoRequestCarryNone)
{
    std::size_t nOfPools = 0;
    for (const LoggedLine& line : LogOfManyClients()) {
        const bool bOfNoRequest = StartsWith(line.m_Text, "nbi-server ") || line.Has("SetHTskInfo") ||
                                  line.Has("RemoveHTskInfo") || line.Has("Acquire Idle Task error!!");
        if (!bOfNoRequest) continue;
        ++nOfPools;
        EXPECT_TRUE(line.m_Operation.empty()) << line.m_Text;
    }
    EXPECT_GT(nOfPools, static_cast<std::size_t>(CLIENTS * ROUNDS));
}

/// With one worker, all collections but the first wait in the queue.
class StopTest : public ::testing::Test {
protected:
    static constexpr unsigned int COLLECTIONS = 6;

    void SetUp() override
    {
        for (unsigned int i = 0; i < COLLECTIONS; ++i) {
            m_Collections.emplace_back(m_Session, Order(MINUTE, 10 * MINUTE), MINUTE);
        }
        ASSERT_TRUE(Eventually([this] { return Accepted() == COLLECTIONS && SamplesTaken() == 1; }));
    }

    unsigned int SamplesTaken() const
    {
        const Northbound::HugeTaskList_var tasks = m_Session.Server()->HugeTasks(m_Session.Who());
        return tasks.in().length() == 1 ? tasks.in()[0].samplesTaken : 0;
    }

    std::size_t Accepted() const
    {
        const std::vector<LoggedLine> log = m_Server.Log();
        return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [](const LoggedLine& line) {
            return line.m_Interface == "3 collect" && line.Has("request accepted");
        }));
    }

    Server m_Server{"TaskMgrMaxThreadNum = 1\nHugeTaskLimit = 100\nCollectionsPerPort = 0\n"};
    Session m_Session{m_Server.Address(), "alice"};
    std::list<Collection> m_Collections;
};

TEST_F(StopTest, RequestsUnderWayAndQueuedAnswerWithAFailure)
{
    StopInOrder(m_Server);
    for (const Collection& collection : m_Collections) {
        ASSERT_TRUE(Eventually([&] { return collection.IsOver(); }));
        ASSERT_NE(collection.Refusal(), nullptr) << collection.NoServer()->NP_minorString();
        EXPECT_NE(collection.Refusal()->code, 0u);
        const std::string detail = collection.Refusal()->detail.in();
        EXPECT_TRUE(StartsWith(detail, "the server stopped ")) << detail;
    }
}

TEST_F(StopTest, CollectionUnderWayLooksForTheStopAndItsFailureIsLoggedForItsRequest)
{
    StopInOrder(m_Server);
    unsigned int nCutShort = 0;
    for (const LoggedLine& line : m_Server.Log()) {
        if (!StartsWith(line.m_Text, "requests:") || !line.Has("after 1 of 11 samples")) continue;
        ++nCutShort;
        EXPECT_EQ(line.m_Interface, "3 collect");
        EXPECT_EQ(line.m_User, "alice");
    }
    EXPECT_EQ(nCutShort, 1u);
}

TEST_F(StopTest, OrderToStopAnswersAndEndsTheServer)
{
    m_Session.Server()->Stop(m_Session.Who());
    EXPECT_EQ(m_Server.Process().Wait(), 0);
}

TEST_F(StopTest, InterruptEndsTheServerInOrderToo)
{
    m_Server.Process().Signal(SIGINT);
    EXPECT_EQ(m_Server.Process().Wait(), 0);
}

TEST_F(StopTest, HalfACollectionKeepsItsDraftName)
{
    StopInOrder(m_Server);
    std::size_t nDrafts = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_Server.Directory() + "/collections")) {
        EXPECT_EQ(entry.path().extension(), ".part");
        ++nDrafts;
    }
    EXPECT_GE(nDrafts, 1u);
}

TEST(NorthboundTest, StopAmongManyRequestsGivesNoEmptyAnswer)
{
    Server server("TaskMgrMaxThreadNum = 2\n");
    const Session session(server.Address(), "alice");
    std::atomic<unsigned int> nAnswered{0};
    constexpr int CLIENTS = 16;
    std::vector<std::thread> clients;
    clients.reserve(CLIENTS);
    for (int i = 0; i < CLIENTS; ++i) {
        clients.emplace_back([&] {
            try {
                for (;; ++nAnswered) ReadInventory(session, session.Who());
            } catch (const Northbound::OperationFailed& e) {
                EXPECT_NE(e.code, 0u);
            } catch (const CORBA::SystemException&) {
                // The server was gone before it took the request.
            }
        });
    }
    EXPECT_TRUE(Eventually([&] { return nAnswered > 500; }));
    StopInOrder(server);
    for (std::thread& client : clients) client.join();
}

TEST(NorthboundTest, ServersStandardOutputGoesToAFileOfItsOwn)
{
    Server server("OutputFile = server.out\n");
    EXPECT_TRUE(fs::exists(server.Directory() + "/server.out"));
    StopInOrder(server);
    EXPECT_EQ(server.Process().StandardOutput(), "");
}

TEST(NorthboundTest, ServerListensOnLoopbackUnlessAskedOtherwise)
{
    const Server server;
    EXPECT_TRUE(StartsWith(server.Address(), "127.0.0.1:")) << server.Address();
}

/// Command lines and configurations with which the server does not start.
class ServerInputTest : public ::testing::Test {
protected:
    Outcome StartWith(const std::string& config) const
    {
        WriteFile(ConfigPath(), config);
        return RunServer({"--config", ConfigPath()});
    }
    std::string ConfigPath() const { return m_Directory.Path() + "/bad.ini"; }

    static bool Names(const Outcome& outcome, const std::string& text)
    {
        return outcome.m_Error.find(text) != std::string::npos;
    }

    const TestDirectory m_Directory;
    const std::string m_Head =
        "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n[server]\nListenPort = 0\n";
};

TEST_F(ServerInputTest, ConfigurationThatIsNotThereIsNamed)
{
    const Outcome outcome = RunServer({"--config", ConfigPath()});
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, ConfigPath())) << outcome.m_Error;
}

TEST_F(ServerInputTest, ValueOutOfRangeIsNamedWithItsKey)
{
    const Outcome outcome = StartWith(m_Head + "HugeTaskLimit = many\n");
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, "HugeTaskLimit: \"many\"")) << outcome.m_Error;
}

TEST_F(ServerInputTest, CollectionDirectoryThatCannotBeMadeIsNamed)
{
    const Outcome outcome = StartWith(m_Head + "CollectionDirectory = bad.ini/below\n");
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, "bad.ini/below")) << outcome.m_Error;
}

TEST_F(ServerInputTest, OutputFileThatCannotBeWrittenIsNamed)
{
    const Outcome outcome = StartWith(m_Head + "OutputFile = nowhere/out\n");
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, "nowhere/out")) << outcome.m_Error;
}

TEST_F(ServerInputTest, PortInUseHasAnExitCodeOfItsOwn)
{
    const Server other;
    const std::string port = other.Address().substr(other.Address().find(':') + 1);
    WriteFile(ConfigPath(), m_Head);
    const Outcome outcome = RunServer({"--config", ConfigPath(), "--port", port});
    EXPECT_EQ(outcome.m_nExitCode, 3);
    EXPECT_TRUE(Names(outcome, "cannot listen on 127.0.0.1:" + port)) << outcome.m_Error;
}

TEST_F(ServerInputTest, CommandLineThatMakesNoSenseIsRefused)
{
    EXPECT_EQ(RunServer({"--port", "65536"}).m_nExitCode, 2);
    EXPECT_EQ(RunServer({"--unknown"}).m_nExitCode, 2);
}

TEST_F(ServerInputTest, HelpNamesTheOptionsAndTheExitCodes)
{
    const Outcome outcome = RunServer({"--help"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_NE(outcome.m_Output.find("--ready-file"), std::string::npos);
    EXPECT_NE(outcome.m_Output.find("Exit codes"), std::string::npos);
}

/// nbi-client against a server.
class ClientTest : public ::testing::Test {
protected:
    Outcome Client(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--server", m_Server.Address()});
        return RunClient(arguments);
    }

    Server m_Server;
};

TEST_F(ClientTest, InventoryIsATable)
{
    const Outcome outcome = Client({"inventory"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_TRUE(StartsWith(outcome.m_Output, "MANAGED OBJECT ")) << outcome.m_Output;
    EXPECT_NE(outcome.m_Output.find("\n" + Loopback() + " "), std::string::npos);
    EXPECT_NE(outcome.m_Output.find("127.0.0.1/8"), std::string::npos);
}

TEST_F(ClientTest, JsonIsOneValueOnOneLine)
{
    const Outcome inventory = Client({"--json", "inventory"});
    EXPECT_TRUE(StartsWith(inventory.m_Output, "{\"ports\":[{\"dn\":\"")) << inventory.m_Output;
    EXPECT_EQ(std::count(inventory.m_Output.begin(), inventory.m_Output.end(), '\n'), 1);
    const Outcome counters = Client({"counters", "lo", "--json"});
    EXPECT_TRUE(StartsWith(counters.m_Output, "{\"dn\":\"" + Loopback() + "\",")) << counters.m_Output;
    EXPECT_EQ(Client({"--json", "tasks"}).m_Output, "[]\n");
}

TEST_F(ClientTest, PortGoesByItsNameOrByItsDistinguishedName)
{
    EXPECT_TRUE(StartsWith(Client({"counters", "lo"}).m_Output, Loopback() + " at "));
    EXPECT_TRUE(StartsWith(Client({"counters", Loopback()}).m_Output, Loopback() + " at "));
}

TEST_F(ClientTest, FailedRequestGivesCodeAndDetailAndExitCodeOne)
{
    const Outcome text = Client({"counters", "nothing"});
    EXPECT_EQ(text.m_nExitCode, 1);
    EXPECT_EQ(text.m_Output, "");
    EXPECT_TRUE(StartsWith(
        text.m_Error, "nbi-client: failed with code 0x4E420001: there is no managed object \"nothing\"\n"))
        << text.m_Error;
    const Outcome json = Client({"--json", "counters", "nothing"});
    EXPECT_EQ(json.m_nExitCode, 1);
    EXPECT_TRUE(StartsWith(json.m_Output,
                           "{\"error\":{\"code\":1312948225,\"hex\":\"0x4E420001\","
                           "\"detail\":\"there is no managed object \\\"nothing\\\"\""))
        << json.m_Output;
    EXPECT_EQ(json.m_Error, "");
}

TEST_F(ClientTest, CollectRunsOneCollectionPerPortAndShowsProgressAndFiles)
{
    const Outcome outcome = Client({"collect", "lo", "lo", "-i", "0.1", "-d", "2"});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_NE(outcome.m_Output.find("/21"), std::string::npos) << outcome.m_Output;
    std::size_t nFiles = 0;
    for (const auto& entry : fs::directory_iterator(m_Server.Directory() + "/collections")) {
        EXPECT_NE(outcome.m_Output.find(entry.path().string()), std::string::npos);
        ++nFiles;
    }
    EXPECT_EQ(nFiles, 2u);
}

TEST_F(ClientTest, RefusedCollectionGivesExitCodeOne)
{
    const Outcome text = Client({"collect", "lo", "--interval", "0"});
    EXPECT_EQ(text.m_nExitCode, 1);
    EXPECT_NE(text.m_Error.find("0x4E420002"), std::string::npos) << text.m_Error;
    const Outcome json = Client({"--json", "collect", "lo", "--interval", "0"});
    EXPECT_EQ(json.m_nExitCode, 1);
    EXPECT_NE(json.m_Output.find("\"refusal\":{\"error\":{\"code\":1312948226"), std::string::npos);
}

TEST_F(ClientTest, TasksWaitsForAsManyAsAskedFor)
{
    EXPECT_EQ(Client({"tasks", "--at-least", "1", "--timeout", "0.3"}).m_nExitCode, 1);
    const Session session(m_Server.Address(), "bob");
    std::list<Collection> running;
    running.emplace_back(session, Order(50, 10 * MINUTE), MINUTE);
    const Outcome outcome = Client({"tasks", "--at-least", "1"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_NE(outcome.m_Output.find(" bob "), std::string::npos) << outcome.m_Output;
    EXPECT_NE(outcome.m_Output.find(Loopback() + " 3 collect"), std::string::npos);
    StopInOrder(m_Server);
}

TEST_F(ClientTest, StopReturnsWhenTheServerIsGone)
{
    const Outcome outcome = Client({"stop"});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(outcome.m_Output, "the server has stopped\n");
    EXPECT_EQ(m_Server.Process().Wait(), 0);
    const Outcome after = Client({"inventory"});
    EXPECT_EQ(after.m_nExitCode, 3);
    EXPECT_TRUE(StartsWith(after.m_Error, "nbi-client: no answer from a server at 127.0.0.1:"))
        << after.m_Error;
    EXPECT_EQ(Client({"--json", "inventory"}).m_nExitCode, 3);
}

TEST(ClientInputTest, CommandLineThatMakesNoSenseIsRefused)
{
    EXPECT_EQ(RunClient({}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"unknown"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"counters"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"collect", "lo", "--duration", "-1"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"--server", "no:such:thing", "inventory"}).m_nExitCode, 3);
}

TEST(ClientInputTest, HelpNamesTheSubcommandsAndTheExitCodes)
{
    const Outcome outcome = RunClient({"--help"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    for (const char* pName : {"inventory", "counters", "collect", "tasks", "stop", "pubkey", "send-secret",
                              "reason", "Exit codes"}) {
        EXPECT_NE(outcome.m_Output.find(pName), std::string::npos) << pName;
    }
    EXPECT_EQ(RunClient({"collect", "--help"}).m_nExitCode, 0);
}

}  // namespace
}  // namespace northbound
