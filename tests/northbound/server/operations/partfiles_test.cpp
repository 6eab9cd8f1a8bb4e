#include "server/operations/partfiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/testdirectory.h"

namespace northbound {
namespace {

class PartFilesTest : public ::testing::Test {
protected:
    static CollectionState StateWith(std::vector<CollectionPart> parts)
    {
        CollectionState state;
        state.m_Order.m_Operation = "one";
        state.m_Order.m_Dn = "ne=x,port=eth0";
        state.m_nTaken = 5;
        state.m_Parts = std::move(parts);
        return state;
    }

    const nbitest::TestDirectory m_Folder;
};

TEST_F(PartFilesTest, ServerThatIsAloneHasOneFileACollection)
{
    const PartFiles files(m_Folder.Path());
    EXPECT_EQ(files.OwnFolder(), m_Folder.Path());
    EXPECT_EQ(files.NameOf({"one", 1}), "one");
    const auto shares = files.SharesOf(StateWith({}));
    ASSERT_EQ(shares.size(), 1u);
    EXPECT_EQ(shares[0].m_File, m_Folder / "perf-eth0-one.csv");
    EXPECT_EQ(shares[0].m_Part.m_nTaken, 5u);
}

TEST_F(PartFilesTest, ServersOfABookHaveAFolderEachAndAFileForEachClaim)
{
    const PartFiles files(m_Folder.Path(), "b");
    EXPECT_EQ(files.OwnFolder(), m_Folder / "b");
    EXPECT_EQ(files.NameOf({"one", 2}), "2-one");
    const auto shares = files.SharesOf(StateWith({{"a", 1, 0, 3}, {"b", 2, 3, 0}, {"b", 3, 3, 2}}));
    ASSERT_EQ(shares.size(), 2u) << "a claim without a sample has no part";
    EXPECT_EQ(shares[0].m_File, m_Folder / "a/perf-eth0-1-one.csv");
    EXPECT_EQ(shares[1].m_File, m_Folder / "b/perf-eth0-3-one.csv");
}

TEST_F(PartFilesTest, UnfinishedFileIsNamedWhereItIsThere)
{
    const PartFiles files(m_Folder.Path());
    nbitest::WriteFile(m_Folder / "perf-eth0-one.csv.part", "");
    EXPECT_EQ(files.SharesOf(StateWith({}))[0].m_File, m_Folder / "perf-eth0-one.csv.part");
    nbitest::WriteFile(m_Folder / "perf-eth0-one.csv", "");
    EXPECT_EQ(files.SharesOf(StateWith({}))[0].m_File, m_Folder / "perf-eth0-one.csv");
}

/// Names of servers come from the database.
TEST_F(PartFilesTest, NoNameLeadsOutOfTheFolder)
{
    for (const std::string name : {"..", ".", "../x", "/etc", "a/../../b"}) {
        const std::filesystem::path folder = PartFiles(m_Folder.Path(), name).OwnFolder();
        EXPECT_EQ(folder.lexically_normal().parent_path(), m_Folder.Path()) << name;
        EXPECT_NE(folder.filename(), "..") << name;
    }
}

}  // namespace
}  // namespace northbound
