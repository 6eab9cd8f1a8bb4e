#include "util/configfile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <set>
#include <string>

#include "support/inchild.h"
#include "support/testdirectory.h"
#include "util/draft.h"

namespace NS_UTIL {
namespace {

using nbitest::LimitFileSize;
using nbitest::NOT_ROOT;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::TestDirectory;

std::string Edited(const std::string& text, const std::string& key, const std::string& value)
{
    WipedText edited;
    EditConfigText(text, key, value, edited);
    return edited.m_Text;
}

/// \p nLines lines "line<number>", joined by line ends.
std::string Lines(int nLines)
{
    std::string text;
    for (int i = 0; i < nLines; ++i) text += (i > 0 ? "\nline" : "line") + std::to_string(i);
    return text;
}

TEST(EditConfigTextTest, LineWithTheKeyBecomesKeyAndValue)
{
    EXPECT_EQ(Edited("a=1\nport=21\nb=2", "port", "80"), "a=1\nport=80\nb=2");
}

TEST(EditConfigTextTest, EveryLineThatContainsTheKeyIsReplacedWhole)
{
    EXPECT_EQ(Edited("# the port to use\n  export = 1\nreport\nother", "port", "80"),
              "port=80\nport=80\nport=80\nother");
}

TEST(EditConfigTextTest, SslVersionBecomesAnOption)
{
    EXPECT_EQ(Edited("x\n-SSLVersion 1\ny", "SSLVersion", "3"), "x\n-SSLVersion 3\ny");
}

TEST(EditConfigTextTest, SslPrivateKeyPasswordBecomesAnOption)
{
    EXPECT_EQ(Edited("-SSLPrivateKeyPasswd old", "SSLPrivateKeyPasswd", "new word"),
              "-SSLPrivateKeyPasswd new word");
}

TEST(EditConfigTextTest, OnlyTheExactKeysBecomeOptions)
{
    EXPECT_EQ(Edited("SSLVersion2", "SSLVersion2", "3"), "SSLVersion2=3");
    EXPECT_EQ(Edited("sslversion", "sslversion", "3"), "sslversion=3");
    EXPECT_EQ(Edited("-SSLVersion 1", "-SSLVersion", "3"), "-SSLVersion=3");
}

TEST(EditConfigTextTest, ValueIsTakenAsItIs)
{
    EXPECT_EQ(Edited("k", "k", "a=b %s \\ \xC3\xA9"), "k=a=b %s \\ \xC3\xA9");
    EXPECT_EQ(Edited("k=1", "k", ""), "k=");
}

TEST(EditConfigTextTest, FinalLineEndStaysAsItWas)
{
    EXPECT_EQ(Edited("k=1\n", "k", "2"), "k=2\n");
    EXPECT_EQ(Edited("k=1", "k", "2"), "k=2");
    EXPECT_EQ(Edited("k=1\n\n", "k", "2"), "k=2\n\n");
    EXPECT_EQ(Edited("\n", "k", "2"), "\n");
}

TEST(EditConfigTextTest, EmptyTextStaysEmpty)
{
    EXPECT_EQ(Edited("", "k", "2"), "");
}

TEST(EditConfigTextTest, AbsentKeyChangesNothing)
{
    const std::string text = "a=1\r\n\tb = 2\n" + std::string("zero\0byte\n", 10);
    EXPECT_EQ(Edited(text, "k", "2"), text);
}

TEST(EditConfigTextTest, EmptyKeyIsInEveryLine)
{
    EXPECT_EQ(Edited("a\n\nb\n", "", "v"), "=v\n=v\n=v\n=v");
}

TEST(EditConfigTextTest, LineOf1023CharactersIsHeldWhole)
{
    const std::string line(1023, 'x');
    EXPECT_EQ(Edited("a\n" + line + "\nb\n", "k", "2"), "a\n" + line + "\nb\n");
    EXPECT_EQ(Edited(line, "k", "2"), line);
}

TEST(EditConfigTextTest, LongerLineIsCutAndEmptyLinesFillTheRestOf1024)
{
    const std::string line(1024, 'x');
    EXPECT_EQ(Edited("a\n" + line + "\nb=1\nc\n", "b", "2"),
              "a\n" + line.substr(0, 1023) + std::string(1022, '\n'));
    EXPECT_EQ(Edited(line, "b", "2"), line.substr(0, 1023) + std::string(1023, '\n'));
}

TEST(EditConfigTextTest, KeyInACutLineCountsUpToTheCut)
{
    EXPECT_EQ(Edited("key" + std::string(2000, 'x'), "key", "v"), "key=v" + std::string(1023, '\n'));
    EXPECT_EQ(Edited(std::string(1022, 'x') + "key", "key", "v"),
              std::string(1022, 'x') + "k" + std::string(1023, '\n'));
}

TEST(EditConfigTextTest, EmptyKeyIsInTheFillingLinesToo)
{
    const std::string edited = Edited(std::string(2000, 'x'), "", "v");
    EXPECT_EQ(edited.size(), 1024u * 2 + 1023);
    EXPECT_EQ(edited.substr(0, 6), "=v\n=v\n");
}

TEST(EditConfigTextTest, Exactly1024LinesStay)
{
    EXPECT_EQ(Edited(Lines(1024), "k", "v"), Lines(1024));
}

TEST(EditConfigTextTest, LineEndBehindThe1024thLineIsDropped)
{
    EXPECT_EQ(Edited(Lines(1024) + "\n", "k", "v"), Lines(1024));
    EXPECT_EQ(Edited(Lines(1023) + "\n", "k", "v"), Lines(1023) + "\n");
}

TEST(EditConfigTextTest, LinesBehindThe1024thAreDropped)
{
    EXPECT_EQ(Edited(Lines(1030) + "\n", "k", "v"), Lines(1024));
    EXPECT_EQ(Edited(Lines(1030), "line1023", "v"), Lines(1023) + "\nline1023=v");
    EXPECT_EQ(Edited(Lines(1030), "line1024", "v"), Lines(1024));
}

TEST(EditConfigTextTest, The1024thLineMayBeCut)
{
    const std::string line(3000, 'x');
    EXPECT_EQ(Edited(Lines(1023) + "\n" + line + "\nmore", "k", "v"),
              Lines(1023) + "\n" + line.substr(0, 1023));
}

class ConfigFileTest : public ::testing::Test {
protected:
    StoreResult Store(const std::string& name, const std::string& text)
    {
        return StoreConfigText(m_Dir / name, text);
    }
    struct stat StatusOf(const std::string& name)
    {
        struct stat status = {};
        EXPECT_EQ(stat((m_Dir / name).c_str(), &status), 0);
        return status;
    }
    std::set<std::string> Only(const std::string& name) { return {name}; }

    TestDirectory m_Dir;
};

TEST_F(ConfigFileTest, TextIsReadByteForByte)
{
    const std::string text = std::string("a\r\n\0b\n", 6) + "\xFF";
    WipedText held;
    EXPECT_TRUE(ReadConfigText(m_Dir.Add("conf", text), held));
    EXPECT_EQ(held.m_Text, text);
}

TEST_F(ConfigFileTest, LengthThatAFileTellsIsNotBelieved)
{
    WipedText held;
    EXPECT_TRUE(ReadConfigText("/proc/self/status", held)) << "the system's files seem to be empty";
    EXPECT_NE(held.m_Text.find("\nPid:"), std::string::npos);
}

TEST_F(ConfigFileTest, NoMoreIsReadThanAnEditHolds)
{
    const std::string path = m_Dir.Add("conf", std::string(3 << 20, '\n'));
    WipedText held;
    EXPECT_TRUE(ReadConfigText(path, held));
    EXPECT_EQ(held.m_Text.size(), 1024u * 1024);
    WipedText endless;
    EXPECT_TRUE(ReadConfigText("/dev/zero", endless));
    EXPECT_EQ(endless.m_Text.size(), 1024u * 1024);
}

TEST_F(ConfigFileTest, LongestHeldTextIsReadWhole)
{
    std::string text;
    for (int i = 0; i < 1024; ++i) text += std::string(1023, 'x') + '\n';
    WipedText held;
    EXPECT_TRUE(ReadConfigText(m_Dir.Add("conf", text + "beyond"), held));
    EXPECT_EQ(held.m_Text, text);
    EXPECT_EQ(Edited(held.m_Text, "k", "v"), text.substr(0, text.size() - 1));
}

TEST_F(ConfigFileTest, PipeIsReadPieceByPieceUpToTheLimit)
{
    const std::string path = m_Dir / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const std::string text = Lines(200000);
    const pid_t nWriter = fork();
    if (nWriter == 0) {
        const int nPipe = open(path.c_str(), O_WRONLY);
        WriteAll(nPipe, text.substr(0, 1));  // so that no later piece ends at the limit
        WriteAll(nPipe, text.substr(1));
        _exit(0);
    }
    WipedText held;
    EXPECT_TRUE(ReadConfigText(path, held));
    EXPECT_TRUE(held.m_Text == text.substr(0, 1024 * 1024)) << held.m_Text.size();
    EXPECT_EQ(waitpid(nWriter, nullptr, 0), nWriter);
}

TEST_F(ConfigFileTest, ErrorOfAnEarlierCallMeansNothing)
{
    const std::string path = m_Dir.Add("conf", "text");
    WipedText held;
    errno = EINTR;
    EXPECT_TRUE(ReadConfigText(path, held));
    EXPECT_EQ(held.m_Text, "text");
    errno = EINTR;
    EXPECT_TRUE(ReadConfigText("/dev/null", held));
    EXPECT_EQ(held.m_Text, "");
}

TEST_F(ConfigFileTest, FileThatCannotBeReadGivesFalse)
{
    WipedText held;
    EXPECT_FALSE(ReadConfigText(m_Dir / "missing", held));
    EXPECT_FALSE(ReadConfigText(m_Dir.Path(), held));
}

TEST_F(ConfigFileTest, TextReplacesTheOldOne)
{
    m_Dir.Add("conf", "a long old text\n");
    EXPECT_EQ(Store("conf", "new"), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), "new");
    EXPECT_EQ(m_Dir.Names(), Only("conf"));
}

TEST_F(ConfigFileTest, ReplacementIsANewFileWithTheOldMode)
{
    m_Dir.Add("conf", "old", 0604);
    const ino_t nOld = StatusOf("conf").st_ino;
    EXPECT_EQ(Store("conf", "new"), StoreResult::STORED);
    EXPECT_NE(StatusOf("conf").st_ino, nOld);
    EXPECT_EQ(StatusOf("conf").st_mode & 07777, 0604u);
}

TEST_F(ConfigFileTest, ReadersOfTheOldFileKeepIt)
{
    m_Dir.Add("conf", "old");
    std::ifstream reader(m_Dir / "conf");
    EXPECT_EQ(Store("conf", "new"), StoreResult::STORED);
    std::string text;
    reader >> text;
    EXPECT_EQ(text, "old");
}

TEST_F(ConfigFileTest, ReplacementKeepsTheOwner)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "old", 04640);
    ASSERT_EQ(chown((m_Dir / "conf").c_str(), 1234, 4321), 0);
    ASSERT_EQ(chmod((m_Dir / "conf").c_str(), 04640), 0);
    EXPECT_EQ(Store("conf", "new"), StoreResult::STORED);
    EXPECT_EQ(StatusOf("conf").st_uid, 1234u);
    EXPECT_EQ(StatusOf("conf").st_gid, 4321u);
    EXPECT_EQ(StatusOf("conf").st_mode & 07777, 04640u);
}

TEST_F(ConfigFileTest, TargetOfALinkIsReplacedAndTheLinkStays)
{
    ASSERT_EQ(mkdir((m_Dir / "real").c_str(), 0755), 0);
    m_Dir.Add("real/conf", "old");
    ASSERT_EQ(symlink("real/conf", (m_Dir / "link").c_str()), 0);
    EXPECT_EQ(Store("link", "new"), StoreResult::STORED);
    EXPECT_TRUE(std::filesystem::is_symlink(m_Dir / "link"));
    EXPECT_EQ(m_Dir.Text("real/conf"), "new");
}

TEST_F(ConfigFileTest, HardLinkIsNotKept)
{
    m_Dir.Add("conf", "old");
    ASSERT_EQ(link((m_Dir / "conf").c_str(), (m_Dir / "other").c_str()), 0);
    EXPECT_EQ(Store("conf", "new"), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("other"), "old");
}

TEST_F(ConfigFileTest, MissingFileIsMadeForItsOwnerAlone)
{
    EXPECT_EQ(Store("conf", "new"), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text("conf"), "new");
    EXPECT_EQ(StatusOf("conf").st_mode & 07777, 0600u);
}

TEST_F(ConfigFileTest, FileThatCannotBeOpenedForWritingIsReported)
{
    EXPECT_EQ(Store("missing/conf", "new"), StoreResult::NOT_OPENED);
    EXPECT_EQ(StoreConfigText(m_Dir.Path(), "new"), StoreResult::NOT_OPENED);
}

TEST_F(ConfigFileTest, ReadOnlyFileIsReportedThoughItsDirectoryIsOpen)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "old", 0644);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(Store("conf", "new"), StoreResult::NOT_OPENED); }));
    EXPECT_EQ(m_Dir.Text("conf"), "old");
    EXPECT_EQ(m_Dir.Names(), Only("conf"));
}

TEST_F(ConfigFileTest, FullDiskLeavesTheOldFile)
{
    m_Dir.Add("conf", "old text");
    EXPECT_TRUE(PassesInChild([this] {
        LimitFileSize(100);
        EXPECT_EQ(Store("conf", std::string(1000, 'x')), StoreResult::NOT_STORED);
        EXPECT_EQ(errno, EFBIG);
    }));
    EXPECT_EQ(m_Dir.Text("conf"), "old text");
    EXPECT_EQ(m_Dir.Names(), Only("conf"));
}

TEST_F(ConfigFileTest, ReadOnlyDirectoryMeansRewritingInPlace)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "a long old text", 0666);
    chmod(m_Dir.Path().c_str(), 0555);
    const ino_t nOld = StatusOf("conf").st_ino;
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(Store("conf", "new"), StoreResult::STORED); }));
    EXPECT_EQ(m_Dir.Text("conf"), "new");
    EXPECT_EQ(StatusOf("conf").st_ino, nOld);
}

TEST_F(ConfigFileTest, FileOfAnotherOwnerIsRewrittenInPlace)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "old", 0666);
    EXPECT_TRUE(
        PassesAsNobody([this] { EXPECT_EQ(Store("conf", "a longer new text"), StoreResult::STORED); }));
    EXPECT_EQ(m_Dir.Text("conf"), "a longer new text");
    EXPECT_EQ(StatusOf("conf").st_uid, 0u);
    EXPECT_EQ(m_Dir.Names(), Only("conf"));
}

TEST_F(ConfigFileTest, FailureInPlacePutsTheOldTextBack)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "old text", 0666);
    EXPECT_TRUE(PassesAsNobody([this] {
        LimitFileSize(100);
        EXPECT_EQ(Store("conf", std::string(1000, 'x')), StoreResult::NOT_STORED);
        EXPECT_EQ(errno, EFBIG);
    }));
    EXPECT_EQ(m_Dir.Text("conf"), "old text");
}

TEST_F(ConfigFileTest, InPlaceNothingIsWrittenOverATextThatCannotBeKept)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("conf", "old", 0622);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(Store("conf", "new"), StoreResult::NOT_STORED); }));
    EXPECT_EQ(m_Dir.Text("conf"), "old");
}

TEST_F(ConfigFileTest, InPlaceNoMoreIsKeptThanAnEditHolds)
{
    const std::string name(255, 'c');
    const std::string most(1024 * 1024, 'x');
    m_Dir.Add(name, most + "x");
    EXPECT_EQ(Store(name, "new"), StoreResult::NOT_STORED);
    EXPECT_EQ(errno, EFBIG);
    EXPECT_EQ(m_Dir.Text(name), most + "x");
    m_Dir.Add(name, most);
    EXPECT_EQ(Store(name, "new"), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text(name), "new");
}

TEST_F(ConfigFileTest, NameTooLongForASiblingMeansRewritingInPlace)
{
    const std::string name(255, 'c');
    m_Dir.Add(name, "old");
    EXPECT_EQ(Store(name, "new"), StoreResult::STORED);
    EXPECT_EQ(m_Dir.Text(name), "new");
}

TEST_F(ConfigFileTest, DeviceIsWrittenTo)
{
    EXPECT_EQ(StoreConfigText("/dev/null", "new"), StoreResult::STORED);
    EXPECT_EQ(StoreConfigText("/dev/full", "new"), StoreResult::NOT_STORED);
    EXPECT_EQ(errno, ENOSPC);
}

}  // namespace
}  // namespace NS_UTIL
