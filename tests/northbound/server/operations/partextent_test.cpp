#include "server/operations/partextent.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "nbiutil/processexception.h"
#include "shared/descriptor.h"
#include "shared/names.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

class PartExtentTest : public ::testing::Test {
protected:
    PartExtent Of(const std::string& text, std::uint64_t nLines)
    {
        nbitest::WriteFile(m_Folder / "file", text);
        const Descriptor file(open((m_Folder / "file").c_str(), O_RDONLY | O_CLOEXEC));
        return m_Extents.Of(file.Number(), nLines);
    }

    const nbitest::TestDirectory m_Folder;
    PartExtents m_Extents;
};

TEST_F(PartExtentTest, LinesThatDoNotCountAreLeftOut)
{
    EXPECT_EQ(Of("time\n1\n2\n3\n", 3).m_nBytes, 9u);
    EXPECT_EQ(Of("time\n1\n2\n3\n", 4).m_nBytes, 11u);
}

TEST_F(PartExtentTest, LineWithoutAnEndIsLeftOut)
{
    EXPECT_EQ(Of("time\n1\n2", 3).m_nBytes, 7u);
    EXPECT_EQ(Of("tim", 3).m_nBytes, 0u);
}

TEST_F(PartExtentTest, DigestIsThatOfWhatCounts)
{
    const std::string abc = "edeaaff3f1774ad2888673770c6d64097e391bc362d7d6fb34982ddf0efd18cb";  // of "abc\n"
    EXPECT_EQ(Of("abc\n", 1).m_Digest, abc);
    EXPECT_EQ(Of("abc\nd\n", 1).m_Digest, abc);
}

TEST_F(PartExtentTest, FileOfManyBlocksIsReadWhole)
{
    std::string text;
    for (int i = 0; i < 40000; ++i) text += std::to_string(i) + "\n";
    EXPECT_EQ(Of(text, 40000).m_nBytes, text.size());
    EXPECT_EQ(Of(text, 39999).m_nBytes, text.size() - 6);
}

TEST_F(PartExtentTest, FileThatHasGrownIsReadAnew)
{
    EXPECT_EQ(Of("a\n", 9).m_nBytes, 2u);
    EXPECT_EQ(Of("a\nb\n", 9).m_nBytes, 4u);
}

TEST_F(PartExtentTest, ManyFilesTakeBoundedMemoryAndStayRight)
{
    for (std::size_t i = 1; i <= 2 * PartExtents::MOST_KEPT; ++i) {
        EXPECT_EQ(Of(std::string(i, 'x') + "\n", 1).m_nBytes, i + 1);
    }
}

TEST_F(PartExtentTest, WhatIsNoFileIsRefused)
{
    const Descriptor folder(open(m_Folder.Path().c_str(), O_RDONLY | O_CLOEXEC));
    try {
        m_Extents.Of(folder.Number(), 1);
        ADD_FAILURE();
    } catch (NS_UTIL::ProcessException& e) {
        EXPECT_EQ(e.GetErrorCode(), ErrCode::PART_ELSEWHERE);
    }
}

}  // namespace
}  // namespace northbound
