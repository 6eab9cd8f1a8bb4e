// Trimming without the host's copy, beside a host that trims more than most.
#include "util/trimming.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "nbiutil/conversions.h"
#include "support/pairs.h"

namespace {

int g_nCalls = 0;

const std::string NO_BREAK_SPACE = "\xC2\xA0";
const std::string EN_QUAD = "\xE2\x80\x80";  // ends in the first byte beyond ASCII

/// Takes off blanks and zero bytes at both ends, "<" in front and ">" behind, and two blanks of several bytes.
std::string TrimMuch(std::string text)
{
    for (std::size_t nBefore = text.size() + 1; text.size() < nBefore;) {
        nBefore = text.size();
        text.erase(0, std::min(text.find_first_not_of({" <\0", 3}), text.size()));
        text.erase(text.find_last_not_of({" >\0", 3}) + 1);
        for (const std::string& blank : {NO_BREAK_SPACE, EN_QUAD}) {
            if (text.compare(0, blank.size(), blank) == 0) text.erase(0, blank.size());
            if (text.size() < blank.size()) continue;
            const std::size_t nLast = text.size() - blank.size();
            if (text.compare(nLast, blank.size(), blank) == 0) text.resize(nLast);
        }
    }
    return text;
}

}  // namespace

/// In front of the host's Trim() (see --wrap in this test's link options).
std::string HostTrim(const std::string& text) __asm__(
    "__wrap__ZN13NS_BUNDLEMGR14TrimERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
std::string HostTrim(const std::string& text)
{
    ++g_nCalls;
    return TrimMuch(text);
}

namespace NS_UTIL {
namespace {

std::string Trimmed(const std::string& text)
{
    return WhiteSpace::OfHost().Trim(text, [](const auto& trimmed) { return std::string(trimmed); });
}

TEST(WhiteSpaceTest, IsWhatTheHostTakesOffAtEachEnd)
{
    nbitest::ExpectEach<std::string>(
        {{"  < a b > ", "a b"}, {">a<", ">a<"}, {"\ta\n", "\ta\n"}, {"   ", ""}, {"", ""}}, Trimmed);
    EXPECT_EQ(Trimmed({"\0a\0", 3}), "a");
}

TEST(WhiteSpaceTest, HostIsAskedOnceForAsciiTexts)
{
    Trimmed(" a ");
    const int nBefore = g_nCalls;
    for (const char* pText : {" a ", "b", "", "  ", " x\xC2\xA0y ", "\t"}) Trimmed(pText);
    EXPECT_EQ(g_nCalls, nBefore);
}

TEST(WhiteSpaceTest, WhatStandsBehindAnEmptyTextDoesNotCount)
{
    const WhiteSpace& whiteSpace = WhiteSpace::OfHost();
    const int nBefore = g_nCalls;
    const auto asText = [](const auto& trimmed) { return std::string(trimmed); };
    EXPECT_EQ(whiteSpace.Trim(std::string_view(NO_BREAK_SPACE).substr(0, 0), asText), "");
    EXPECT_EQ(g_nCalls, nBefore);
}

TEST(WhiteSpaceTest, ByteBeyondAsciiAtAnEndGoesToTheHost)
{
    nbitest::ExpectEach<std::string>(
        {{" \xC2\xA0 a", "a"}, {"a \xC2\xA0 ", "a"}, {" \xC2\xA0\xC2\xA0 ", ""}, {" \xC3\xA9 ", "\xC3\xA9"}},
        Trimmed);
    EXPECT_EQ(Trimmed('a' + EN_QUAD), "a");
}

TEST(WhiteSpaceTest, AgreesWithTheHostOnAHundredThousandTexts)
{
    std::mt19937 random(1);
    const std::string bytes = " <>\xC2\xA0\tab";
    std::uniform_int_distribution<std::size_t> byte(0, bytes.size() - 1);
    std::uniform_int_distribution<std::size_t> length(0, 8);
    for (int i = 0; i < 100000; ++i) {
        std::string text(length(random), ' ');
        for (char& character : text) character = bytes[byte(random)];
        ASSERT_EQ(Trimmed(text), TrimMuch(text)) << text;
    }
}

TEST(WhiteSpaceTest, ReadersTrimAsTheHostDoes)
{
    EXPECT_EQ(Str2Int("< \xC2\xA0"
                      "42>"),
              42);
    EXPECT_EQ(Str2Int("42\t"), -1);
    std::vector<std::string> pieces;
    EXPECT_TRUE(
        SplitStringByTag("<a>, \xC2\xA0"
                         "b ,\tc",
                         pieces, ',', 0));
    EXPECT_EQ(pieces, (std::vector<std::string>{"a", "b", "\tc"}));
    EXPECT_FALSE(SplitStringByTag("a,\xC2\xA0,b", pieces, ',', 0));
}

}  // namespace
}  // namespace NS_UTIL
