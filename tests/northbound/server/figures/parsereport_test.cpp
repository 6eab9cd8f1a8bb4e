#include "server/figures/parsereport.h"

#include <gtest/gtest.h>

namespace northbound {
namespace {

TEST(ParseReport, SyntaxErrorHasFileLineAndReason)
{
    const auto failures = FailuresIn(
        "in [EnableCharacterDataHandler]\nin [GetErrorCode]\n"
        "[PrintParseError] Parse error in file [a [b].xml], at line [7]:\n[mismatched tag]\nin [x]\n");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].m_File, "a [b].xml");
    EXPECT_EQ(failures[0].m_Reason, "line 7: mismatched tag");
}

TEST(ParseReport, FileThatCannotBeOpenedHasTheSystemsReason)
{
    const auto failures = FailuresIn("[ParseFile] Call fopen file name /nowhere/a b.xml error\n");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].m_File, "/nowhere/a b.xml");
    EXPECT_EQ(failures[0].m_Reason, "cannot be read: No such file or directory");
}

TEST(ParseReport, CircleIsAFailureOfTheFileThatIsNotReadAgain)
{
    const auto failures = FailuresIn("[ParseXMLFile] File a.xml is being parsed already\n");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].m_File, "a.xml");
    EXPECT_EQ(failures[0].m_Reason, "includes itself, which is left out");
}

TEST(ParseReport, LinesOfASuccessfulParseAreNoFailures)
{
    EXPECT_TRUE(FailuresIn("").empty());
    EXPECT_TRUE(FailuresIn("in [OnXMLCharacterData]\nout [OnXMLCharacterData]\n").empty());
}

TEST(ParseReport, ReportThatIsCutOffIsStillAFailure)
{
    const auto failures = FailuresIn("[PrintParseError] Parse error in file [a.xml], at line [7]:");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].m_File, "a.xml");
}

}  // namespace
}  // namespace northbound
