// The client on terminals of several sizes.
#include <gtest/gtest.h>
#include <pty.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "client/view/columns.h"
#include "northbound/programs/requests.h"

namespace northbound {
namespace {

struct Size {
    unsigned short m_nColumns;
    unsigned short m_nRows;
};

/// What nbi-client writes to a terminal of its own.
std::string OnTerminal(const Size& size, std::vector<std::string> words)
{
    words.insert(words.begin(), NBI_CLIENT);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    winsize window{};
    window.ws_col = size.m_nColumns;
    window.ws_row = size.m_nRows;
    int nTerminal = -1;
    const pid_t nChild = forkpty(&nTerminal, nullptr, nullptr, &window);
    if (nChild == 0) {
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    std::string text;
    char bytes[4096];
    for (ssize_t nRead; (nRead = read(nTerminal, bytes, sizeof(bytes))) > 0;) {
        text.append(bytes, static_cast<std::size_t>(nRead));
    }
    close(nTerminal);
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
    EXPECT_EQ(nStatus, 0) << text;
    return std::regex_replace(text, std::regex("\r\n"), "\n");
}

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string WithoutSequences(const std::string& text)
{
    return std::regex_replace(text, std::regex("\033\\[[0-9;]*[A-Za-z]"), "");
}

class ScreenTest : public ::testing::TestWithParam<Size> {
protected:
    ScreenTest()
    {
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
    }

    std::string Ask(const Size& size, std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"--server", m_Server.Address(), "--user", "测试用户"});
        return OnTerminal(size, words);
    }

    void ExpectToFit(const std::string& text) const
    {
        for (const std::string& line : LinesOf(WithoutSequences(text))) {
            EXPECT_LE(ColumnsOf(line), GetParam().m_nColumns) << line;
        }
    }

    const Server m_Server{"CollectionsPerPort = 0\nHugeTaskLimit = 10\n"};
};

TEST_P(ScreenTest, TablesAreNoWiderThanTheTerminal)
{
    const std::string inventory = Ask(GetParam(), {"inventory"});
    ExpectToFit(inventory);
    EXPECT_NE(inventory.find("carrierChanges"), std::string::npos) << "something is missing: " << inventory;
    ExpectToFit(Ask(GetParam(), {"counters", "lo"}));
}

/// Each drawing takes the place of the one before, and leaves the cursor a row.
TEST_P(ScreenTest, WatchingScrollsNothing)
{
    const std::string text =
        Ask(GetParam(), {"collect", "lo", "lo", "lo", "lo", "lo", "lo", "-i", "0.1", "-d", "1"});
    const std::string views = text.substr(0, text.find("ne="));
    static const std::regex up("\033\\[([0-9]+)A");
    std::size_t nDrawings = 0;
    std::size_t nFrom = 0;
    for (std::sregex_iterator at(views.begin(), views.end(), up), end; at != end; ++at, ++nDrawings) {
        const auto nTo = static_cast<std::size_t>(at->position());
        const std::string drawing = WithoutSequences(views.substr(nFrom, nTo - nFrom));
        EXPECT_LT(LinesOf(drawing).size(), GetParam().m_nRows) << drawing;
        EXPECT_EQ(std::to_string(LinesOf(drawing).size()), (*at)[1]) << drawing;
        ExpectToFit(drawing);
        nFrom = nTo + static_cast<std::size_t>(at->length());
    }
    EXPECT_GT(nDrawings, 1u) << text;
}

INSTANTIATE_TEST_SUITE_P(Sizes, ScreenTest,
                         ::testing::Values(Size{80, 24}, Size{40, 8}, Size{200, 50}, Size{20, 5}),
                         [](const ::testing::TestParamInfo<Size>& size) {
                             return std::to_string(size.param.m_nColumns) + "x" +
                                    std::to_string(size.param.m_nRows);
                         });

class StyleTest : public ScreenTest {};

TEST_P(StyleTest, HeadsAreBoldUnlessTheUserWantsNone)
{
    const std::string bold = "\033[1m";
    EXPECT_NE(Ask(GetParam(), {"counters", "lo"}).find(bold), std::string::npos);
    setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(Ask(GetParam(), {"counters", "lo"}).find('\033'), std::string::npos);
    setenv("NO_COLOR", "", 1);
    EXPECT_NE(Ask(GetParam(), {"counters", "lo"}).find(bold), std::string::npos) << "empty counts as not set";
}

TEST_P(StyleTest, TerminalWithoutAbilitiesGetsPlainLines)
{
    setenv("TERM", "dumb", 1);
    EXPECT_EQ(Ask(GetParam(), {"counters", "lo"}).find('\033'), std::string::npos);
    EXPECT_EQ(Ask(GetParam(), {"collect", "lo", "-i", "0.05", "-d", "0.2"}).find('\033'), std::string::npos);
}

TEST_P(StyleTest, WhatIsNoTerminalGetsPlainLinesOfAnyLength)
{
    const Outcome outcome = RunClient({"--server", m_Server.Address(), "inventory"});
    EXPECT_EQ(outcome.m_Output.find('\033'), std::string::npos);
    EXPECT_EQ(outcome.m_Output.find("MANAGED OBJECT  "), 0u) << outcome.m_Output;
}

INSTANTIATE_TEST_SUITE_P(AnySize, StyleTest, ::testing::Values(Size{80, 24}));

}  // namespace
}  // namespace northbound
