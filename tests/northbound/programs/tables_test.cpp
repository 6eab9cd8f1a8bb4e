// What stands in more than one place: codes in the header, the guide and both languages; commands in the program
// and the guide.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "northbound/programs/programs.h"

namespace northbound {
namespace {

using ::testing::IsSupersetOf;
using ::testing::Not;

using Texts = std::set<std::string>;

const std::string EXAMPLE = NBI_EXAMPLE;

/// What \p pattern's first group finds, line by line.
Texts Matches(const std::string& text, const std::string& pattern)
{
    const std::regex regex(pattern);
    Texts found;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        for (std::sregex_iterator at(line.begin(), line.end(), regex), end; at != end; ++at) {
            EXPECT_TRUE(found.insert((*at)[1]).second) << (*at)[1] << " stands there twice";
        }
    }
    return found;
}

/// The part of the guide under a heading of the second rank.
std::string Section(const std::string& heading)
{
    const std::string guide = ReadFile(NBI_GUIDE);
    const std::size_t nBegin = guide.find("\n## " + heading + "\n");
    EXPECT_NE(nBegin, std::string::npos) << heading;
    return guide.substr(nBegin, guide.find("\n## ", nBegin + 1) - nBegin);
}

Texts CodesInHeader(const std::string& header)
{
    return Matches(ReadFile(header), "constexpr unsigned int \\w+ = (0x[0-9A-F]{8})U;");
}

Texts CodesOfResources(const std::string& language)
{
    const std::string folder = EXAMPLE + "/" + "root/etc/nbires/" + language;
    return Matches(ReadFile(folder + "/errcode_NORTHBOUND_TDT.res"), "^(0x[0-9A-F]{8}) = .");
}

TEST(TablesTest, EveryCodeOfTheServerHasAReasonInBothLanguages)
{
    const Texts codes = CodesInHeader(EXAMPLE + "/shared/names.h");
    EXPECT_THAT(codes, Not(::testing::IsEmpty()));
    EXPECT_EQ(CodesOfResources("en_US"), codes);
    EXPECT_EQ(CodesOfResources("zh_CN"), codes);
}

TEST(TablesTest, GuideTellsEveryCodeOfTheServer)
{
    const Texts table = Matches(Section("Codes"), "^\\| `(0x4E42[0-9A-F]{4})` \\|");
    EXPECT_EQ(table, CodesInHeader(EXAMPLE + "/shared/names.h"));
}

TEST(TablesTest, OtherCodesInTheGuideAreTheLibrarys)
{
    const Texts table = Matches(Section("Codes"), "^\\| `(0x(?!4E42)[0-9A-F]{8})` \\|");
    Texts library = Matches(ReadFile(NBI_ERRCODE), "= (0x[0-9A-F]{8})U;");
    library.insert("0x00000001");
    EXPECT_THAT(library, IsSupersetOf(table));
}

TEST(TablesTest, GuideAndManualTellEveryItemOfTheConfiguration)
{
    const Texts items = Matches(ReadFile(EXAMPLE + "/server/upkeep/items.cpp"), "^    \\{\"(\\w+)\", Kind::");
    EXPECT_THAT(items, Not(::testing::IsEmpty()));
    EXPECT_EQ(Matches(Section("Changing the configuration"), "`(\\w+)(?:<user>)?`(?=.*\\|.*\\|)"), items);
    const std::string manual = ReadFile(NBI_MANUAL);
    EXPECT_EQ(Matches(manual.substr(manual.find("\n.Ss Items of the server")), "^\\.It Cm (\\w+)"), items);
}

TEST(TablesTest, GuideTellsEveryCommand)
{
    const std::string help = RunClient({"--help"}).m_Output;
    const Texts commands = Matches(help.substr(help.find("\nSubcommands:")), "^  ([a-z-]+) ");
    EXPECT_THAT(commands, Not(::testing::IsEmpty()));
    EXPECT_EQ(Matches(Section("Commands"), "^\\| `nbi-client ([a-z-]+)"), commands);
}

}  // namespace
}  // namespace northbound
