#include "nbihost/cfgfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "host/hostfixture.h"
#include "nbihost/standalone.h"
#include "support/heapwatch.h"

namespace {

using NS_BUNDLEMGR1::GetAllCfgFrmFile;
using NS_BUNDLEMGR1::NameValueStru;
using Pairs = std::vector<std::pair<std::string, std::string>>;

class CfgFileTest : public nbitest::HostFixture {
protected:
    /// The pairs of a file with this text; fails the test when it cannot be read.
    Pairs Read(const std::string& text) const
    {
        std::vector<NameValueStru> read;
        EXPECT_TRUE(GetAllCfgFrmFile(read, WriteFile("errcode.res", text), true));
        Pairs pairs;
        for (const NameValueStru& one : read) pairs.emplace_back(one.m_Name, one.m_Value);
        return pairs;
    }
};

TEST_F(CfgFileTest, PairsComeInFileOrderWithDuplicates)
{
    EXPECT_EQ(Read("9=nine\n1=one\n9=again\n5=five\n1=one more\n"),
              (Pairs{{"9", "nine"}, {"1", "one"}, {"9", "again"}, {"5", "five"}, {"1", "one more"}}));
}

TEST_F(CfgFileTest, OrderHoldsAcrossSections)
{
    EXPECT_EQ(Read("3=c\n[zz]\n2=b\n[aa]\n1=a\n[zz]\n0=z\n"),
              (Pairs{{"3", "c"}, {"2", "b"}, {"1", "a"}, {"0", "z"}}));
}

TEST_F(CfgFileTest, BlanksAroundNameAndValueGoAndThoseInsideStay)
{
    EXPECT_EQ(Read("  0x10 \t=\t a  b \t\n"), (Pairs{{"0x10", "a  b"}}));
}

TEST_F(CfgFileTest, EqualsSemicolonAndHashInAValueBelongToIt)
{
    EXPECT_EQ(Read("1=a=b;c#d ; e\n"), (Pairs{{"1", "a=b;c#d ; e"}}));
}

TEST_F(CfgFileTest, CommentsAndEmptyLinesAreSkipped)
{
    EXPECT_EQ(Read("# first\n1=a\n\n; second\n  # third\n2=b\n;3=c\n"), (Pairs{{"1", "a"}, {"2", "b"}}));
}

TEST_F(CfgFileTest, QuotesAndBackslashesAreOrdinaryCharacters)
{
    EXPECT_EQ(Read("1=\"quoted\"\n2=a\\nb\n3=<<<END\n"),
              (Pairs{{"1", "\"quoted\""}, {"2", "a\\nb"}, {"3", "<<<END"}}));
}

TEST_F(CfgFileTest, NamesDifferByCase)
{
    EXPECT_EQ(Read("0xA=upper\n0xa=lower\n"), (Pairs{{"0xA", "upper"}, {"0xa", "lower"}}));
}

TEST_F(CfgFileTest, Utf8ComesBackByteForByte)
{
    const std::string text = "\xE6\x93\x8D\xE4\xBD\x9C\xE5\xA4\xB1\xE8\xB4\xA5 \xC2\xA0\xE2\x82\xAC\xFF\x80";
    EXPECT_EQ(Read("1=" + text + "\n"), (Pairs{{"1", text}}));
}

TEST_F(CfgFileTest, ValueOfFourKilobytesAndMoreIsWhole)
{
    std::string kilobytes;
    while (kilobytes.size() < 4096) kilobytes += "\xE9\x94\x99\xE8\xAF\xAF";
    const std::string megabyte(1U << 20U, 'x');
    EXPECT_EQ(Read("1=" + kilobytes + "\n2=" + megabyte + "\n"), (Pairs{{"1", kilobytes}, {"2", megabyte}}));
}

TEST_F(CfgFileTest, ByteOrderMarkIsNoPartOfTheFirstName)
{
    EXPECT_EQ(Read("\xEF\xBB\xBF"
                   "1=a\n2=b\n"),
              (Pairs{{"1", "a"}, {"2", "b"}}));
}

TEST_F(CfgFileTest, CarriageReturnsEndLinesToo)
{
    EXPECT_EQ(Read("1=a\r\n2=b\r\n\r\n3=c"), (Pairs{{"1", "a"}, {"2", "b"}, {"3", "c"}}));
}

TEST_F(CfgFileTest, EmptyValueIsKept)
{
    EXPECT_EQ(Read("1=\n2=b\n"), (Pairs{{"1", ""}, {"2", "b"}}));
}

TEST_F(CfgFileTest, LinesThatAreNoPairAreSkipped)
{
    EXPECT_EQ(Read("nothing\n=value\n1=a\n[open\n2=b\n"), (Pairs{{"1", "a"}, {"2", "b"}}));
}

TEST_F(CfgFileTest, PairsAreAppended)
{
    std::vector<NameValueStru> pairs{{"0", "was here"}};
    EXPECT_TRUE(GetAllCfgFrmFile(pairs, WriteFile("a.res", "1=a\n"), true));
    ASSERT_EQ(pairs.size(), 2u);
    EXPECT_EQ(pairs[0].m_Value, "was here");
    EXPECT_EQ(pairs[1].m_Value, "a");
}

TEST_F(CfgFileTest, EmptyFileHasNoPairsAndIsNoFailure)
{
    EXPECT_EQ(Read(""), Pairs{});
    EXPECT_EQ(Read("\xEF\xBB\xBF"), Pairs{});
}

class UnreadableTest : public CfgFileTest {
protected:
    void ExpectFailure(const std::string& path)
    {
        std::vector<NameValueStru> pairs;
        EXPECT_FALSE(GetAllCfgFrmFile(pairs, path, true));
        EXPECT_TRUE(pairs.empty());
    }
};

TEST_F(UnreadableTest, MissingFileIsAFailure)
{
    ExpectFailure(PathOf("none.res"));
    ExpectFailure("");
}

TEST_F(UnreadableTest, DirectoryIsAFailure)
{
    ExpectFailure(m_Folder);
}

TEST_F(UnreadableTest, PipeIsAFailureAndDoesNotBlock)
{
    ASSERT_EQ(::mkfifo(PathOf("pipe").c_str(), 0600), 0);
    ExpectFailure(PathOf("pipe"));
}

TEST_F(UnreadableTest, EndlessDeviceIsAFailure)
{
    ExpectFailure("/dev/zero");
}

TEST_F(UnreadableTest, HugeFileIsAFailureByItsSize)
{
    const std::string path = WriteFile("stray.res", "1=a\n");
    ASSERT_EQ(::truncate(path.c_str(), off_t{3} << 30), 0);
    const nbitest::AllocationLimit limit(std::size_t{1} << 20);
    ExpectFailure(path);
    EXPECT_EQ(limit.Refused(), 0u) << "it was read";
}

TEST_F(UnreadableTest, FileThatGoesOnBeyondItsSizeIsAFailure)
{
    // A regular file that says it is empty, and has eight bytes for each page that there could be.
    const std::string path = "/proc/self/pagemap";
    if (::access(path.c_str(), R_OK) != 0) GTEST_SKIP() << "there is no such file";
    const nbitest::AllocationLimit limit(std::size_t{256} << 20);
    ExpectFailure(path);
    EXPECT_EQ(limit.Refused(), 0u) << "more was read than may be";
}

TEST_F(UnreadableTest, FileThatFindsNoRoomIsAFailure)
{
    const std::string path = WriteFile("a.res", "1=" + std::string(100000, 'x') + "\n");
    const nbitest::AllocationLimit limit(50000);
    ExpectFailure(path);
    EXPECT_NE(limit.Refused(), 0u);
}

TEST_F(CfgFileTest, LargestFileIsRead)
{
    std::string comment = "#" + std::string((std::size_t{64} << 20) - 6, 'x') + "\n";
    EXPECT_EQ(Read(comment + "1=a\n"), (Pairs{{"1", "a"}}));
}

TEST_F(UnreadableTest, FileWithAZeroByteIsAFailure)
{
    ExpectFailure(WriteFile("binary.res", std::string("1=a\n\0002=b\n", 9)));
}

TEST_F(UnreadableTest, FileWithoutReadPermissionIsAFailure)
{
    const std::string path = WriteFile("secret.res", "1=a\n");
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    const nbitest::OrdinaryUser user;
    ExpectFailure(path);
}

TEST_F(CfgFileTest, InstallationRootHasNoTrailingSeparator)
{
    EXPECT_EQ(NS_BUNDLEMGR1::GetTAVOEnvironment(), "");
    nbihost::Host host(WriteFile("host.ini", "[host]\nroot = " + m_Folder + "//\nlog_stderr = no\n"));
    host.Start();
    EXPECT_EQ(NS_BUNDLEMGR1::GetTAVOEnvironment(), m_Folder);
}

/// An installation root with a folder beside it for its own static data.
class StaticDataTest : public UnreadableTest {
protected:
    StaticDataTest() : m_Root(PathOf("lib")), m_StaticData(PathOf("nbi/corba/res/staticdata/en_US"))
    {
        std::filesystem::create_directory(m_Root);
        m_pHost =
            std::make_unique<nbihost::Host>(WriteFile("host.ini", "[host]\nroot = lib\nlog_stderr = no\n"));
        m_pHost->Start();
    }

    std::string PathFor(const std::string& language, const std::string& name = "errcode_TAVO_TDT.res") const
    {
        return m_Root + "/../nbi/corba/res/staticdata/" + language + "/" + name;
    }

    const std::string m_Root;
    const std::string m_StaticData;
    std::unique_ptr<nbihost::Host> m_pHost;
};

TEST_F(StaticDataTest, ARootWithoutReasonsGetsThoseThatAreInstalled)
{
    for (const char* pLanguage : {"en_US", "zh_CN"}) {
        std::vector<NameValueStru> pairs;
        EXPECT_TRUE(GetAllCfgFrmFile(pairs, PathFor(pLanguage), true));
        EXPECT_FALSE(pairs.empty());
        for (const NameValueStru& pair : pairs) EXPECT_FALSE(pair.m_Value.empty()) << pair.m_Name;
    }
}

TEST_F(StaticDataTest, ARootsOwnReasonsAreTheOnlyOnes)
{
    std::filesystem::create_directories(m_StaticData);
    nbitest::WriteFile(m_StaticData + "/errcode_TAVO_TDT.res", "5=five\n");
    std::vector<NameValueStru> pairs;
    EXPECT_TRUE(GetAllCfgFrmFile(pairs, PathFor("en_US"), true));
    ASSERT_EQ(pairs.size(), 1U);
    EXPECT_EQ(pairs[0].m_Value, "five");
}

TEST_F(StaticDataTest, ReasonsThatCannotBeReadAreAFailureAllTheSame)
{
    std::filesystem::create_directories(m_StaticData + "/errcode_TAVO_TDT.res");
    ExpectFailure(PathFor("en_US"));
}

TEST_F(StaticDataTest, NothingElseIsTakenFromTheInstallation)
{
    ExpectFailure(PathFor("en_US", "errcode_OTHER_TDT.res"));
    ExpectFailure(PathFor("fr_FR"));
    ExpectFailure(PathOf("errcode_TAVO_TDT.res"));
}

}  // namespace
