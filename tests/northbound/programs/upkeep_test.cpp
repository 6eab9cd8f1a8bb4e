// Packing and configuration, through the programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "northbound/programs/programs.h"
#include "support/threadsanitizer.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::HasSubstr;

class UpkeepTest : public ::testing::Test {
protected:
    Outcome Ask(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--server", m_Server.Address()});
        return RunClient(arguments);
    }

    /// Collections of \p nPorts files, of the shortest kind.
    Outcome Collect(std::size_t nPorts, const std::vector<std::string>& options)
    {
        std::vector<std::string> arguments{"collect", "--quiet", "--interval", "0.01", "--duration", "0.01"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.insert(arguments.end(), nPorts, "lo");
        return Ask(arguments);
    }

    std::string CollectionDirectory() const { return m_Server.Directory() + "/collections"; }

    std::multiset<std::string> Endings() const
    {
        std::multiset<std::string> endings;
        for (const fs::directory_entry& entry : fs::directory_iterator(CollectionDirectory())) {
            endings.insert(entry.path().extension().string());
        }
        return endings;
    }

    std::string ConfigFile() const { return m_Server.Directory() + "/server.ini"; }

    Server m_Server{"ListenPort=0\nListenAddress=127.0.0.1\nHugeTaskLimit=9\nCollectionsPerPort=9\n"};
};

TEST_F(UpkeepTest, ArchivesThatAreThereAreNamedInTheAnswer)
{
    const Outcome outcome = Collect(2, {"--pack", "tar"});
    ASSERT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(outcome.m_Output, HasSubstr("packed into " + CollectionDirectory() + "/perf-lo-"));
    EXPECT_THAT(outcome.m_Output, HasSubstr("0 files wait for a later packing"));
    EXPECT_EQ(Endings(), (std::multiset<std::string>{".tar"}));
}

TEST_F(UpkeepTest, FilesThatMakeNoFullGroupWaitForTheNextPacking)
{
    EXPECT_THAT(Collect(3, {"--pack", "zip", "--per-archive", "2"}).m_Output,
                HasSubstr("1 files wait for a later packing"));
    EXPECT_EQ(Endings(), (std::multiset<std::string>{".csv", ".zip"}));
    EXPECT_THAT(Collect(1, {"--pack", "zip", "--per-archive", "2"}).m_Output,
                HasSubstr("0 files wait for a later packing"));
    EXPECT_EQ(Endings(), (std::multiset<std::string>{".zip", ".zip"}));
}

TEST_F(UpkeepTest, GzipPacksEachFileByItself)
{
    const Outcome outcome = Collect(2, {"--pack", "gzip"});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(outcome.m_Output, HasSubstr(".csv.gz\n"));
    EXPECT_EQ(Endings(), (std::multiset<std::string>{".gz", ".gz"}));
}

TEST_F(UpkeepTest, PackedCollectionsAreOneJsonValue)
{
    const Outcome outcome = Collect(1, {"--pack", "tar"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    const Outcome json = RunClient({"--server", m_Server.Address(), "--json", "collect", "lo", "--interval",
                                    "0.01", "--duration", "0.01", "--pack", "tar"});
    EXPECT_THAT(json.m_Output, ::testing::StartsWith("{\"collections\":[{\"dn\":"));
    EXPECT_THAT(json.m_Output, EndsWith(".tar\"],\"made\":1,\"waiting\":0}}\n"));
}

TEST_F(UpkeepTest, MethodThatIsNoneIsRefusedByTheClient)
{
    EXPECT_EQ(Collect(1, {"--pack", "rar"}).m_nExitCode, 2);
}

TEST_F(UpkeepTest, ItemIsSetAndInForceAtOnce)
{
    const Outcome outcome = Ask({"config", "set", "HugeTaskLimit", "0"});
    ASSERT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(ReadFile(ConfigFile()), HasSubstr("\nHugeTaskLimit=0\n"));
    const Outcome refused = Collect(1, {});
    EXPECT_EQ(refused.m_nExitCode, 1);
    EXPECT_THAT(refused.m_Error, HasSubstr("0x4118000A"));
}

TEST_F(UpkeepTest, ValueThatDoesNotLoadLeavesTheOldFileInForce)
{
    const std::string before = ReadFile(ConfigFile());
    const Outcome outcome = Ask({"config", "set", "HugeTaskLimit", "many"});
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("\"many\" is not a whole number from 0 to 1000000"));
    EXPECT_EQ(ReadFile(ConfigFile()), before);
    EXPECT_EQ(Collect(1, {}).m_nExitCode, 0);
}

TEST_F(UpkeepTest, KeyThatIsNotThereIsRefused)
{
    const Outcome outcome = Ask({"config", "set", "NoSuchItem", "1"});
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("0x4E420002: \"NoSuchItem\" cannot be set: ListenAddress, "));
}

/// Each of these once wrote a file, or let somebody in.
TEST_F(UpkeepTest, KeysOfPathsUsersAndTheHostAreNobodysToSet)
{
    const std::string before = ReadFile(ConfigFile());
    for (const char* pKey :
         {"log_file", "root", "items_file", "OutputFile", "CollectionDirectory", "DescriptionFile",
          "ElementRoot", "ListenSocket", "Anonymous", "Role_anna", "Password_anna", "Password_", "Huge",
          "hugetasklimit", "HugeTaskLimit ", "Limit", "="}) {
        const Outcome outcome = Ask({"config", "set", pKey, "1"});
        EXPECT_EQ(outcome.m_nExitCode, 1) << pKey;
        EXPECT_THAT(outcome.m_Error, HasSubstr("cannot be set")) << pKey;
        EXPECT_EQ(ReadFile(ConfigFile()), before) << pKey;
    }
}

TEST_F(UpkeepTest, ItemOfTheNextStartIsToldAsSuch)
{
    EXPECT_EQ(Ask({"config", "set", "ListenPort", "4711"}).m_Output,
              "ListenPort is set, and holds after a restart of the server\n");
    EXPECT_EQ(Ask({"--json", "config", "set", "HugeTaskLimit", "7"}).m_Output,
              "{\"set\":\"HugeTaskLimit\",\"inForce\":true}\n");
}

TEST_F(UpkeepTest, ValueIsNeverLogged)
{
    Ask({"config", "set", "ListenAddress", "a-value-nobody-else-uses"});
    for (const LoggedLine& line : m_Server.Log()) {
        EXPECT_FALSE(line.Has("a-value-nobody-else-uses")) << line.m_Text;
    }
}

TEST_F(UpkeepTest, FilesArePackedAndListedByCommandsOfTheirOwn)
{
    ASSERT_EQ(Collect(2, {}).m_nExitCode, 0);
    EXPECT_THAT(Ask({"files"}).m_Output, HasSubstr(".csv  whole  "));
    const Outcome packed = Ask({"pack", "tar", "--per-archive", "2"});
    EXPECT_EQ(packed.m_nExitCode, 0) << packed.m_Error;
    EXPECT_THAT(packed.m_Output, HasSubstr("0 files wait for a later packing"));
    EXPECT_THAT(Ask({"files", "--json"}).m_Output, HasSubstr(".tar\",\"state\":\"whole\",\"bytes\":"));
}

/// Memory of a process that is no file's, in KB.
long AnonymousMemory(pid_t nProcess)
{
    std::ifstream status("/proc/" + std::to_string(nProcess) + "/status");
    const std::string name = "RssAnon:";
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, name.size(), name) == 0) return std::stol(line.substr(name.size()));
    }
    return 0;
}

TEST_F(UpkeepTest, LargeRequestsLeaveTheServerSmall)
{
#if defined(__SANITIZE_ADDRESS__) || NBI_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizers keep freed memory";
#endif
    std::ofstream config(ConfigFile(), std::ios::app);
    for (int i = 0; i < 900; ++i) config << std::string(999, '#') << '\n';
    config.close();
    const auto askSideBySide = [this](const std::vector<std::string>& arguments) {
        std::vector<std::thread> clients;
        clients.reserve(8);
        for (int i = 0; i < 8; ++i) {
            clients.emplace_back([&] {
                for (int n = 0; n < 5; ++n) EXPECT_EQ(Ask(arguments).m_nExitCode, 0);
            });
        }
        for (std::thread& client : clients) client.join();
        return AnonymousMemory(m_Server.Process().Id());
    };
    const long nBefore = askSideBySide({"inventory"});  // with the threads, whose stacks may be huge pages
    EXPECT_GT(nBefore, 0);
    EXPECT_LE(askSideBySide({"config", "set", "HugeTaskLimit", "7"}), nBefore + 3072);
}

TEST_F(UpkeepTest, PartOfACollectionIsListedAndGoesWhenItsTimeIsOver)
{
    const std::string part = CollectionDirectory() + "/perf-lo-x.csv.part";
    nbitest::WriteFile(part, "time\n");
    EXPECT_THAT(Ask({"files"}).m_Output, HasSubstr("perf-lo-x.csv.part  part "));
    EXPECT_EQ(Ask({"clean"}).m_Output, "0 files of 0 bytes were removed\n");
    fs::last_write_time(part, fs::file_time_type::clock::now() - std::chrono::hours(8 * 24));
    EXPECT_EQ(Ask({"clean"}).m_Output, "1 files of 5 bytes were removed\n");
    EXPECT_FALSE(fs::exists(part));
}

TEST(LeftoversTest, StartTellsWhatAKilledServerLeftAndRemovesWhatIsTooOld)
{
    const TestDirectory folder;
    const std::string old = folder / "perf-lo-old.csv.part";
    nbitest::WriteFile(old, "time\n");
    fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::hours(3 * 24));
    nbitest::WriteFile(folder / "perf-lo-young.csv.part", "time\n");
    fs::create_directory(folder / ".packing");
    nbitest::WriteFile(folder / ".packing/perf-lo-packed.csv", "time\n");
    Server server("PartDays = 2\nCollectionDirectory = " + folder.Path() + "\n");
    EXPECT_FALSE(fs::exists(old));
    EXPECT_TRUE(fs::exists(folder / "perf-lo-young.csv.part"));
    EXPECT_TRUE(fs::exists(folder / "perf-lo-packed.csv"));
    const std::string log = nbitest::ReadFile(server.Directory() + "/log");
    EXPECT_THAT(log, HasSubstr("1 files that a server was packing when it was killed are back"));
    EXPECT_THAT(log, HasSubstr("1 files of collections that did not end are kept"));
    EXPECT_THAT(log, HasSubstr("perf-lo-old.csv.part removed: too old"));
    server.Process().Signal(SIGTERM);
    EXPECT_EQ(server.Process().Wait(), 0);
}

}  // namespace
}  // namespace northbound
