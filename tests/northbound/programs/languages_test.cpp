// Everything that the client says, in Chinese.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "northbound/programs/requests.h"

namespace northbound {
namespace {

using Words = std::vector<std::string>;

bool IsChinese(const std::string& text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

Outcome InChinese(Words words)
{
    words.insert(words.begin(), {"--lang", "zh"});
    return RunClient(words);
}

/// Headings, and what stands behind options and commands; their names are the same in every language.
void ExpectChinese(const std::string& help)
{
    static const std::regex name("^  (-h,)?[-A-Za-z].*");
    std::istringstream lines(help);
    bool bSplit = false;  // the description of a long name stands on a line of its own
    for (std::string line; std::getline(lines, line);) {
        bSplit = std::regex_match(line, name) && !IsChinese(line) && !bSplit;
        EXPECT_TRUE(line.empty() || bSplit || IsChinese(line)) << line;
    }
    EXPECT_FALSE(bSplit) << help;
}

TEST(LanguagesTest, HelpOfEveryCommandIsChinese)
{
    const std::string help = InChinese({"--help"}).m_Output;
    ExpectChinese(help);
    static const std::regex command("\n  ([a-z][a-z-]*) ");
    std::size_t nCommands = 0;
    for (std::sregex_iterator at(help.begin(), help.end(), command), end; at != end; ++at, ++nCommands) {
        ExpectChinese(InChinese({(*at)[1], "--help"}).m_Output);
    }
    EXPECT_GT(nCommands, 10u) << help;
    ExpectChinese(InChinese({"config", "set", "--help"}).m_Output);
}

TEST(LanguagesTest, WhatIsWrongWithACommandLineIsChinese)
{
    for (const Words& words :
         {Words{}, Words{"unknown"}, Words{"counters"}, Words{"counters", "lo", "eth0"},
          Words{"counters", "lo", "--wrong"}, Words{"collect", "lo", "--pack", "rar"},
          Words{"tasks", "--at-least", "x"}, Words{"tasks", "--timeout", "0"}, Words{"tasks", "--timeout"},
          Words{"reason", "x"}, Words{"reason", "7"}, Words{"config"}, Words{"send-secret", "/nowhere"},
          Words{"--config", "/nowhere", "reason", "7"}}) {
        const std::string error = InChinese(words).m_Error;
        EXPECT_TRUE(IsChinese(error.substr(0, error.find("--help")))) << error;
        EXPECT_EQ(error.find(" is "), std::string::npos) << error;
        EXPECT_EQ(error.find(" not "), std::string::npos) << error;
    }
}

TEST(LanguagesTest, OptionCountsWhereverItStandsAndHoweverItIsWritten)
{
    for (const Words& words : {Words{"counters", "--lang", "zh"}, Words{"counters", "-l", "zh"},
                               Words{"--lang=zh", "counters"}, Words{"-lzh", "counters"}}) {
        EXPECT_TRUE(IsChinese(RunClient(words).m_Error)) << words[0];
    }
    EXPECT_FALSE(IsChinese(RunClient({"counters"}).m_Error));
    EXPECT_TRUE(IsChinese(RunClient({"counters", "--lang", "zh", "--json"}).m_Output));
}

TEST(LanguagesTest, AnswersAreChinese)
{
    Server server;
    const auto ask = [&server](Words words) {
        words.insert(words.begin(), {"--server", server.Address()});
        const Outcome outcome = InChinese(words);
        return outcome.m_Output + outcome.m_Error;
    };
    EXPECT_TRUE(StartsWith(ask({"inventory"}), "管理对象  "));
    EXPECT_NE(ask({"inventory"}).find("\n表 "), std::string::npos);
    EXPECT_NE(ask({"counters", "lo"}).find("\n指标 "), std::string::npos);
    EXPECT_EQ(ask({"tasks"}), "没有正在运行的长时间任务\n");
    EXPECT_NE(ask({"collect", "lo", "-i", "0.01", "-d", "0.01", "--pack", "tar"}).find("\n  文件 "),
              std::string::npos);
    EXPECT_TRUE(StartsWith(ask({"sessions"}), "用户"));
    EXPECT_TRUE(StartsWith(ask({"counters", "nothing"}), "nbi-client: 失败，代码 0x4E420001："));
    EXPECT_NE(ask({"counters", "nothing"}).find("\n  原因：不存在该名称的管理对象。"), std::string::npos);
    EXPECT_EQ(ask({"stop"}), "服务器已停止\n");
    EXPECT_NE(ask({"tasks"}).find("没有应答"), std::string::npos);
}

}  // namespace
}  // namespace northbound
