// What the folders of the example's server promise: who may include whom, and who knows the ORB.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/testdirectory.h"

namespace {

namespace fs = std::filesystem;
using ::testing::IsEmpty;

const std::string EXAMPLE = NBI_EXAMPLE;

struct Include {
    std::string m_File;  // both relative to the example's folder
    std::string m_Header;
};

std::vector<Include> IncludesUnder(const std::string& folder)
{
    const std::regex line("^[ \t]*#[ \t]*include[ \t]*[<\"]([^>\"]+)[>\"]");
    std::vector<Include> includes;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(fs::path(EXAMPLE) / folder)) {
        if (!entry.is_regular_file()) continue;
        const std::string text = nbitest::ReadFile(entry.path());
        const std::string name = fs::relative(entry.path(), EXAMPLE);
        std::istringstream lines(text);
        for (std::string one; std::getline(lines, one);) {
            std::smatch match;
            if (std::regex_search(one, match, line)) includes.push_back({name, match[1]});
        }
    }
    return includes;
}

/// "server/figures" of "server/figures/column.h"; "" of what lies elsewhere.
std::string FolderOf(const std::string& path)
{
    return path.compare(0, 7, "server/") == 0 ? fs::path(path).parent_path().string() : "";
}

bool KnowsTheOrb(const std::string& header)
{
    return std::regex_search(header, std::regex("omni|CORBA|corba/|COS/|northbound\\.hh"));
}

std::set<std::string> FilesThatInclude(const std::string& folder, const std::string& pattern)
{
    std::set<std::string> files;
    for (const Include& include : IncludesUnder(folder)) {
        if (std::regex_search(include.m_Header, std::regex(pattern))) files.insert(include.m_File);
    }
    return files;
}

TEST(LayeringTest, OnlyTheFrontEndAndTheProgramKnowTheOrb)
{
    std::set<std::string> folders;
    for (const Include& include : IncludesUnder("server")) {
        if (KnowsTheOrb(include.m_Header)) folders.insert(FolderOf(include.m_File));
    }
    EXPECT_EQ(folders, (std::set<std::string>{"server", "server/corba"}));
    for (const std::string& file : FilesThatInclude("shared", "omni|CORBA|corba/|northbound\\.hh")) {
        EXPECT_EQ(file.compare(0, 13, "shared/corba/"), 0) << file;
    }
}

/// Each folder stands on those below it alone, so there is no circle.
TEST(LayeringTest, FoldersOfTheServerIncludeOnlyWhatIsBelowThem)
{
    const std::map<std::string, int> floors = {
        {"server/serving", 0}, {"server/figures", 1}, {"server/upkeep", 1}, {"server/operations", 2},
        {"server/corba", 3},   {"server/cluster", 3}, {"server", 4}};
    std::set<std::string> upwards;
    for (const Include& include : IncludesUnder("server")) {
        const std::string from = FolderOf(include.m_File);
        const std::string to = FolderOf(include.m_Header);
        if (to.empty() || from == to) continue;
        ASSERT_EQ(floors.count(from), 1u) << from;
        ASSERT_EQ(floors.count(to), 1u) << to;
        if (floors.at(to) >= floors.at(from)) {
            upwards.insert(include.m_File + " includes " + include.m_Header);
        }
    }
    EXPECT_THAT(upwards, IsEmpty());
}

/// Headers include each other in one direction: what can be reached from a header does not lead back to it.
TEST(LayeringTest, HeadersOfTheExampleFormNoCircle)
{
    std::map<std::string, std::set<std::string>> reachable;
    for (const char* const pFolder : {"server", "client", "shared"}) {
        for (const Include& include : IncludesUnder(pFolder)) {
            if (fs::path(include.m_File).extension() == ".h") {
                reachable[include.m_File].insert(include.m_Header);
            }
        }
    }
    for (std::size_t nBefore = 0, nAfter = 1; nBefore != nAfter;) {
        nBefore = nAfter;
        nAfter = 0;
        for (auto& [file, headers] : reachable) {
            for (const std::string& header : std::set<std::string>(headers)) {
                const auto further = reachable.find(header);
                if (further == reachable.end()) continue;
                headers.insert(further->second.begin(), further->second.end());
            }
            nAfter += headers.size();
        }
    }
    for (const auto& [file, headers] : reachable) EXPECT_EQ(headers.count(file), 0u) << file;
}

TEST(LayeringTest, OneFileAloneKnowsWhatTheOrbKeepsToItself)
{
    const std::string internals = "omniORB4/internal/|omniInterceptors|omniIOR";
    EXPECT_EQ(FilesThatInclude("server", internals),
              (std::set<std::string>{"server/corba/orbinternals.cpp"}));
    EXPECT_THAT(FilesThatInclude("client", internals), IsEmpty());
}

/// A server that is alone has no use for the engine's library.
TEST(LayeringTest, OneFileAloneKnowsTheEnginesLibrary)
{
    EXPECT_EQ(FilesThatInclude("server", "libpq"),
              (std::set<std::string>{"server/cluster/engineconnection.cpp"}));
    EXPECT_EQ(nbitest::OutputOf("ldd " NBI_SERVER " | grep -c libpq"), "0\n");
}

TEST(LayeringTest, ClientIncludesNothingOfTheServer)
{
    EXPECT_THAT(FilesThatInclude("client", "^server/"), IsEmpty());
    EXPECT_THAT(FilesThatInclude("client/view", "omniORB4/"), IsEmpty());
    EXPECT_THAT(FilesThatInclude("server", "^client/"), IsEmpty());
}

}  // namespace
