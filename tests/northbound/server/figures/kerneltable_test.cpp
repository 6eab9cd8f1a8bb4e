#include "server/figures/kerneltable.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/testdirectory.h"

namespace northbound {
namespace {

using Names = std::vector<std::string>;

const KernelTable& Table()
{
    static const KernelTable table(
        "Inter-|   Receive\n face |bytes\n    lo:  1 22\t333 \nport9:7\na b:c: 8\n:9\nlo: 4\nempty:");
    return table;
}

TEST(KernelTableTest, RowsGoByTheNameBeforeTheLastColonAndTheHeadingIsNone)
{
    EXPECT_EQ(Table().Names("", 99), (Names{"a b:c", "empty", "lo", "port9"}));
    EXPECT_TRUE(Table().Has("lo"));
    EXPECT_FALSE(Table().Has("l"));
    EXPECT_FALSE(Table().Has(" face |bytes"));
    EXPECT_FALSE(Table().Has(""));
}

TEST(KernelTableTest, NamesBeginBehindTheGivenOneAndAreNoMoreThanAskedFor)
{
    EXPECT_EQ(Table().Names("empty", 1), (Names{"lo"}));
    EXPECT_EQ(Table().Names("f", 9), (Names{"lo", "port9"}));
    EXPECT_EQ(Table().Names("port9", 9), Names());
    EXPECT_EQ(Table().Names("", 0), Names());
}

TEST(KernelTableTest, CellsAreCountedFromOneBetweenAnyBlanks)
{
    EXPECT_EQ(Table().Cell("lo", 1), "1");
    EXPECT_EQ(Table().Cell("lo", 2), "22");
    EXPECT_EQ(Table().Cell("lo", 3), "333");
    EXPECT_EQ(Table().Cell("lo", 4), std::nullopt);
    EXPECT_EQ(Table().Cell("port9", 1), "7");
    EXPECT_EQ(Table().Cell("empty", 1), std::nullopt);
    EXPECT_EQ(Table().Cell("none", 1), std::nullopt);
}

TEST(KernelTableTest, FileThatCannotBeReadTellsWhy)
{
    const nbitest::TestDirectory folder;
    EXPECT_EQ(ReadKernelTable(folder / "none").m_pTable, nullptr);
    EXPECT_EQ(ReadKernelTable(folder / "none").m_nError, ENOENT);
    folder.Add("dev", "lo: 1\n");
    EXPECT_TRUE(ReadKernelTable(folder / "dev").m_pTable->Has("lo"));
}

}  // namespace
}  // namespace northbound
