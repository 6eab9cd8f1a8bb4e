// Server and client with description files of a test's own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "northbound/programs/programs.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

bool Has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

std::string HostName()
{
    char host[256] = {};
    gethostname(host, sizeof(host) - 1);
    return host;
}

/// A copy of the example's description files, for the test to change.
class DescriptionsTest : public ::testing::Test {
protected:
    void SetUp() override { fs::copy(NBI_DESCRIPTIONS, m_Folder.Path(), fs::copy_options::recursive); }

    void Replace(const std::string& file, const std::string& old, const std::string& text) const
    {
        std::string content = ReadFile(Path(file));
        const std::size_t nOld = content.find(old);
        ASSERT_NE(nOld, std::string::npos) << file;
        WriteFile(Path(file), content.replace(nOld, old.size(), text));
    }

    /// The one line that a new figure takes.
    void AddFigure(const std::string& name, const std::string& path) const
    {
        Replace("link.xml", "<end/>",
                "<figure name=\"" + name + "\" file=\"" + path +
                    "\" title=\"Something new\" unit=\"frames\" type=\"counter\"/><end/>");
    }

    void Start()
    {
        m_pServer = std::make_unique<Server>("DescriptionFile = " + Path("northbound.xml") + "\n");
    }

    std::string Ask(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--server", m_pServer->Address()});
        const Outcome outcome = RunClient(arguments);
        EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
        return outcome.m_Output;
    }

    /// Expects \p text in the server's log and on its standard error.
    void ExpectTold(const std::string& text) const
    {
        EXPECT_TRUE(Has(m_pServer->Process().StandardError(), text)) << m_pServer->Process().StandardError();
        const std::vector<LoggedLine> log = m_pServer->Log();
        EXPECT_TRUE(
            std::any_of(log.begin(), log.end(), [&](const LoggedLine& line) { return line.Has(text); }));
    }

    std::size_t LinesWith(const std::string& text) const
    {
        const std::vector<LoggedLine> log = m_pServer->Log();
        return static_cast<std::size_t>(
            std::count_if(log.begin(), log.end(), [&](const LoggedLine& line) { return line.Has(text); }));
    }

    std::string Path(const std::string& file) const { return m_Folder.Path() + "/" + file; }

    const TestDirectory m_Folder;
    std::unique_ptr<Server> m_pServer;
};

TEST_F(DescriptionsTest, InventoryShowsWhatTheFilesDescribe)
{
    Start();
    const std::string table = Ask({"inventory"});
    EXPECT_TRUE(Has(table, "RECEIVED")) << table;
    EXPECT_TRUE(Has(table, "\nTABLE    FIGURE ")) << table;
    EXPECT_TRUE(
        Has(table, "\ntraffic  rxDropped       Dropped on receipt        packets  counter  received\n"))
        << table;
    const std::string json = Ask({"--json", "inventory"});
    EXPECT_TRUE(Has(json,
                    "\"figures\":[{\"table\":\"traffic\",\"name\":\"rxBytes\",\"title\":\"Received\","
                    "\"unit\":\"bytes\",\"type\":\"counter\",\"direction\":\"received\",\"brief\":true},"))
        << json;
}

TEST_F(DescriptionsTest, OneLineMoreIsAFigureMoreInInventoryCountersAndCollections)
{
    AddFigure("collisions", "/sys/class/net/{port}/statistics/collisions");
    Start();
    EXPECT_TRUE(
        Has(Ask({"inventory"}), "\nlink     collisions      Something new             frames   counter\n"));
    EXPECT_TRUE(Has(Ask({"--json", "inventory"}), "\"collisions\":0}"));
    EXPECT_TRUE(Has(Ask({"counters", "lo"}), "\ncollisions"));
    EXPECT_TRUE(Has(Ask({"--json", "counters", "lo"}), "\"collisions\":0}"));
    Ask({"collect", "lo", "-i", "0.01", "-d", "0.02"});
    const fs::path file = fs::directory_iterator(m_pServer->Directory() + "/collections")->path();
    const std::string text = ReadFile(file);
    EXPECT_EQ(text.find("time,rxBytes,rxPackets,rxErrors,rxDropped,txBytes,txPackets,txErrors,txDropped,"
                        "carrierChanges,sendQueue,collisions\n"),
              0u)
        << text;
    EXPECT_TRUE(Has(text, ",0\n"));
}

TEST_F(DescriptionsTest, FigureThatCannotBeReadIsEmptyEverywhereAndCostsALinePerRequest)
{
    AddFigure("nothing", "/nowhere/{port}");
    AddFigure("word", Path("{port}.txt"));
    WriteFile(Path("lo.txt"), "many\n");
    Start();
    EXPECT_TRUE(
        Has(Ask({"--json", "counters", "ne=" + HostName() + ",port=lo"}), "\"nothing\":null,\"word\":null}"));
    EXPECT_EQ(LinesWith("lo has no nothing: /nowhere/lo cannot be read: No such file or directory"), 1u);
    EXPECT_EQ(LinesWith("lo has no word: " + Path("lo.txt") + ": \"many\" is no number"), 1u);
    Ask({"collect", "ne=" + HostName() + ",port=lo", "-i", "0.01", "-d", "0.1", "-q"});
    EXPECT_EQ(LinesWith("lo has no nothing"), 2u);
    const fs::path file = fs::directory_iterator(m_pServer->Directory() + "/collections")->path();
    EXPECT_TRUE(Has(ReadFile(file), ",,\n"));
}

TEST_F(DescriptionsTest, BrokenIncludedFileIsToldWithFileLineAndReasonAndCostsItsTable)
{
    WriteFile(Path("link.xml"), "<root interpreter=\"table\" name=\"link\">\n<figure>\n</root>\n");
    Start();
    ExpectTold("description file " + Path("link.xml") + ": line 3: mismatched tag");
    EXPECT_TRUE(Has(ReadFile(m_pServer->Directory() + "/nbi-server.out"),
                    "[PrintParseError] Parse error in file [link.xml], at line [3]:\n[mismatched tag]\n"));
    const std::string json = Ask({"--json", "counters", "lo"});
    EXPECT_TRUE(Has(json, "\"rxBytes\":")) << json;
    EXPECT_FALSE(Has(json, "sendQueue")) << json;
}

TEST_F(DescriptionsTest, BrokenMainFileLeavesThePortsWithoutFigures)
{
    WriteFile(Path("northbound.xml"), "<catalogue>\n");
    Start();
    ExpectTold("description file " + Path("northbound.xml") + ": does not end with <end/>");
    EXPECT_TRUE(Has(Ask({"--json", "inventory"}), "\"counters\":{}}"));
    EXPECT_TRUE(Has(Ask({"inventory"}), ",port=lo "));
    Ask({"collect", "lo", "-i", "0.01", "-d", "0.02"});
}

TEST_F(DescriptionsTest, WrongAttributeIsToldWithFileAndElement)
{
    Replace("link.xml", "type=\"gauge\"", "type=\"gage\"");
    Start();
    ExpectTold("description file " + Path("link.xml") +
               ": <figure name=\"sendQueue\">: type \"gage\" is neither \"counter\" nor \"gauge\"");
    EXPECT_TRUE(Has(Ask({"--json", "counters", "lo"}), "\"carrierChanges\":"));
}

}  // namespace
}  // namespace northbound
