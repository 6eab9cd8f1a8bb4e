#include "client/texts/texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "client/texts/chinese.h"
#include "support/pairs.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

/// Chinese for as long as it lives.
struct Chinese {
    Chinese() { SpeakChinese(true); }
    ~Chinese() { SpeakChinese(false); }
    Chinese(const Chinese&) = delete;
    Chinese& operator=(const Chinese&) = delete;
};

/// The text that adjacent string literals of the sources make.
std::string Unquoted(const std::string& literals)
{
    std::string text;
    bool bWithin = false;
    for (std::size_t i = 0; i < literals.size(); ++i) {
        if (literals[i] == '"') {
            bWithin = !bWithin;
        } else if (bWithin && literals[i] == '\\') {
            ++i;
            text += literals[i] == 'n' ? '\n' : literals[i];
        } else if (bWithin) {
            text += literals[i];
        }
    }
    return text;
}

/// What the client's sources give to Say().
std::set<std::string> TextsOfSources()
{
    static const std::regex said(R"re(\bSay\(\s*((?:"(?:[^"\\]|\\.)*"\s*)+))re");
    std::set<std::string> texts;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(NBI_CLIENT_SOURCES)) {
        if (entry.path().extension() != ".cpp") continue;
        const std::string source = nbitest::ReadFile(entry.path());
        for (std::sregex_iterator at(source.begin(), source.end(), said), end; at != end; ++at) {
            texts.insert(Unquoted((*at)[1]));
        }
    }
    return texts;
}

/// "{1}{2}" of "no answer from {1} ({2})", in the order of the numbers.
std::multiset<std::string> PlacesOf(const std::string& text)
{
    static const std::regex place(R"(\{[1-9]\})");
    std::multiset<std::string> places;
    for (std::sregex_iterator at(text.begin(), text.end(), place), end; at != end; ++at) {
        places.insert(at->str());
    }
    return places;
}

void ExpectPaired(const std::vector<TextPair>& texts)
{
    std::set<std::string> seen;
    for (const TextPair& pair : texts) {
        const std::string english = pair.m_pEnglish;
        const std::string chinese = pair.m_pChinese;
        EXPECT_TRUE(seen.insert(english).second) << english << " stands there twice";
        EXPECT_EQ(PlacesOf(english), PlacesOf(chinese)) << english;
        if (english == "MTU") continue;
        EXPECT_TRUE(std::any_of(chinese.begin(), chinese.end(), [](char c) {
            return static_cast<unsigned char>(c) >= 0x80;
        })) << english;
    }
}

TEST(TextsTest, EveryTextOfTheSourcesStandsInBothLanguagesAndNoOtherDoes)
{
    std::set<std::string> texts;
    for (const TextPair& pair : OwnTexts()) texts.insert(pair.m_pEnglish);
    EXPECT_THAT(TextsOfSources(), ::testing::ContainerEq(texts)) << "client/texts/chinese.cpp has them";
    EXPECT_GT(texts.size(), 80u);
}

TEST(TextsTest, BothLanguagesHaveTheSamePlaces)
{
    ExpectPaired(OwnTexts());
    ExpectPaired(ForeignTexts());
}

TEST(TextsTest, PartsTakeTheirPlaces)
{
    EXPECT_EQ(Say("{1} cannot be read: {2}", {"file", "no {1} there"}), "file cannot be read: no {1} there");
    EXPECT_EQ(Say("braces {} and {12} stay, {3} is empty"), "braces {} and {12} stay,  is empty");
    const Chinese chinese;
    EXPECT_EQ(Say("{1} cannot be read: {2}", {"a", "b"}), "a 无法读取：b");
}

TEST(TextsTest, UnknownTextStaysEnglish)
{
    const Chinese chinese;
    EXPECT_EQ(Say("nobody says {1}", {"this"}), "nobody says this");
    EXPECT_EQ(Translated("nobody says this"), "nobody says this");
}

TEST(TextsTest, TextsOfOthersAreKnownByTheirForm)
{
    EXPECT_EQ(Translated("PORT is required"), "PORT is required");
    const Chinese chinese;
    nbitest::ExpectEach<std::string>(
        {{"PORT is required", "缺少 PORT"},
         {"A subcommand is required", "缺少子命令"},
         {"--lang: de not in {en,zh}", "--lang：de 不是 {en,zh} 之一"},
         {"--timeout: Value 0 not in range 0.1 to 9", "--timeout：0 不在 0.1 到 9 的范围内"},
         {"/a: b: cannot be read: c", "/a: b：无法读取：c"},
         {"PORT is required or so", "PORT is required or so"},
         {"", ""}},
        Translated);
}

/// What FolderFault() may say.
TEST(TextsTest, FaultsOfFoldersAreKnown)
{
    const std::string source = nbitest::ReadFile(NBI_CLIENT_SOURCES "/../shared/localsocket.cpp");
    const std::string function = source.substr(source.find("\nstd::string FolderFault("));
    static const std::regex literal(R"re("([a-z][a-z0-9 ;:]{4,})")re");
    const Chinese chinese;
    std::size_t nFaults = 0;
    for (std::sregex_iterator at(function.begin(), function.end(), literal), end; at != end;
         ++at, ++nFaults) {
        const std::string fault = (*at)[1];
        EXPECT_NE(Translated(fault), fault) << "client/texts/chinese.cpp has them";
    }
    EXPECT_GE(nFaults, 4u);
}

}  // namespace
}  // namespace northbound
