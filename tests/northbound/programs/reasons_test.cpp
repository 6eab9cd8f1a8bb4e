#include "client/view/reasons.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "northbound/programs/programs.h"

namespace northbound {
namespace {

const std::string ENGLISH =
    "The limit of long-running tasks is reached. Try again when one of them has ended.";
const std::string CHINESE = "长时间任务的数量已达上限，请在其中一个任务结束后重试。";

TEST(ParseCodeTest, TakesDecimalAndHexadecimal)
{
    EXPECT_EQ(ParseCode("0"), 0u);
    EXPECT_EQ(ParseCode("1092091914"), 0x4118000Au);
    EXPECT_EQ(ParseCode("0x4118000A"), 0x4118000Au);
    EXPECT_EQ(ParseCode("0X4118000a"), 0x4118000Au);
    EXPECT_EQ(ParseCode("4294967295"), 0xFFFFFFFFu);
}

TEST(ParseCodeTest, TakesLeadingZerosForDecimalToo)
{
    EXPECT_EQ(ParseCode("010"), 10u);
}

TEST(ParseCodeTest, TakesNothingElse)
{
    for (const char* pText :
         {"", "x", "0x", "12a", "0x1g", "-1", "+1", " 1", "1 ", "4294967296", "0x100000000"}) {
        EXPECT_EQ(ParseCode(pText), std::nullopt) << pText;
    }
}

TEST(ReasonTest, IsEnglishUnlessAskedOtherwise)
{
    for (const auto& arguments : {std::vector<std::string>{"reason", "0x4118000A"},
                                  std::vector<std::string>{"--lang", "en", "reason", "1092091914"}}) {
        const Outcome outcome = RunClient(arguments);
        EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
        EXPECT_EQ(outcome.m_Output, "0x4118000A: " + ENGLISH + "\n");
        EXPECT_EQ(outcome.m_Error, "");
    }
}

TEST(ReasonTest, IsChineseWhenAskedFor)
{
    const Outcome outcome = RunClient({"reason", "1092091914", "--lang", "zh"});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(outcome.m_Output, "0x4118000A: " + CHINESE + "\n");
}

TEST(ReasonTest, IsOneLineOfJsonToo)
{
    EXPECT_EQ(RunClient({"--json", "--lang", "zh", "reason", "0x4118000A"}).m_Output,
              "{\"code\":1092091914,\"hex\":\"0x4118000A\",\"reason\":\"" + CHINESE + "\"}\n");
}

TEST(ReasonTest, UnknownCodeIsAFailure)
{
    const Outcome text = RunClient({"reason", "0x12345678"});
    EXPECT_EQ(text.m_nExitCode, 1);
    EXPECT_EQ(text.m_Output, "");
    EXPECT_EQ(text.m_Error, "nbi-client: the catalogue has no reason for code 0x12345678\n");
    const Outcome json = RunClient({"--json", "reason", "7"});
    EXPECT_EQ(json.m_nExitCode, 1);
    EXPECT_NE(json.m_Output.find("\"detail\":\"the catalogue has no reason for code 0x00000007\""),
              std::string::npos);
}

TEST(ReasonTest, CommandLineThatMakesNoSenseIsRefused)
{
    EXPECT_EQ(RunClient({"reason"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"reason", "limit"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"--lang", "de", "reason", "1"}).m_nExitCode, 2);
}

TEST(ReasonTest, ComesFromTheRootThatTheConfigurationNames)
{
    const TestDirectory directory;
    const std::string config = directory.Path() + "/client.ini";
    WriteFile(config, "[host]\nroot = " NBI_EXAMPLE_ROOT "\nlog_stderr = no\n");
    EXPECT_EQ(RunClient({"--config", config, "reason", "0x4E420001"}).m_nExitCode, 0);
    WriteFile(config, "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n");
    EXPECT_EQ(RunClient({"--config", config, "reason", "0x4E420001"}).m_nExitCode, 1);
    EXPECT_EQ(RunClient({"--config", config, "reason", "0x4118000A"}).m_nExitCode, 0);  // the library's own
    EXPECT_EQ(ReadFile(directory.Path() + "/log"), "");
}

TEST(ReasonTest, ConfigurationThatDoesNotLoadIsNamed)
{
    const Outcome outcome = RunClient({"--config", "/nowhere/client.ini", "reason", "1"});
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_EQ(outcome.m_Error,
              "nbi-client: /nowhere/client.ini: cannot be read: No such file or directory\n");
}

TEST(ReasonTest, StandsBesideCodeAndDetailOfARefusal)
{
    const Server server;
    const auto client = [&server](const char* pLanguage) {
        return RunClient({"--server", server.Address(), "--lang", pLanguage, "counters", "nothing"});
    };
    const std::string start =
        "nbi-client: failed with code 0x4E420001: there is no managed object \"nothing\"\n";
    EXPECT_EQ(client("en").m_Error, start + "  reason: There is no managed object of that name.\n");
    EXPECT_EQ(client("zh").m_Error,
              "nbi-client: 失败，代码 0x4E420001：there is no managed object \"nothing\"\n"
              "  原因：不存在该名称的管理对象。\n");
    EXPECT_EQ(client("en").m_nExitCode, 1);
}

TEST(ReasonTest, StandsBesideTheRefusalOfOneCollectionAmongOthers)
{
    const Server server("HugeTaskLimit = 0\n");
    const std::vector<std::string> arguments{"--server", server.Address(), "collect", "lo", "-q"};
    const Outcome text = RunClient(arguments);
    EXPECT_EQ(text.m_nExitCode, 1);
    EXPECT_NE(text.m_Error.find("0x4118000A: "), std::string::npos) << text.m_Error;
    EXPECT_NE(text.m_Error.find("\n  reason: " + ENGLISH + "\n"), std::string::npos) << text.m_Error;
}

TEST(ReasonTest, IsPartOfARefusalInJson)
{
    const Server server;
    EXPECT_EQ(RunClient({"--server", server.Address(), "--json", "counters", "nothing"}).m_Output,
              "{\"error\":{\"kind\":\"refused\",\"exit\":1,\"code\":1312948225,\"hex\":\"0x4E420001\","
              "\"detail\":\"there is no managed object \\\"nothing\\\"\","
              "\"reason\":\"There is no managed object of that name.\",\"server\":\"" +
                  server.Address() + "\"}}\n");
}

TEST(ReasonTest, IsLeftOutWhereTheCatalogueHasNone)
{
    const Server server;
    const TestDirectory directory;
    const std::string config = directory.Path() + "/client.ini";
    WriteFile(config, "[host]\nroot = .\nlog_stderr = no\n");
    EXPECT_EQ(RunClient({"--server", server.Address(), "--config", config, "counters", "nothing"}).m_Error,
              "nbi-client: failed with code 0x4E420001: there is no managed object \"nothing\"\n");
}

}  // namespace
}  // namespace northbound
