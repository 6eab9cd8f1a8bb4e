#include "nbiutil/errorinfomgr.h"

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "nbihost/recordinghost.h"
#include "support/testdirectory.h"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::RecordingHost;
using ::testing::AnyOf;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;
using Paths = std::vector<std::string>;

namespace fs = std::filesystem;

class ErrorInfoMgrTest : public ::testing::Test {
protected:
    ~ErrorInfoMgrTest() override { ErrorInfoMgr::Destroy(); }

    static std::string ReasonOf(unsigned long nCode)
    {
        std::string reason = "left from before";
        ErrorInfoMgr::Instance()->GetErrReasonByErrCode(reason, nCode);
        return reason;
    }

    RecordingHost m_Host;
};

TEST_F(ErrorInfoMgrTest, DestroyForgetsTheReasons)
{
    ErrorInfoMgr::Instance()->SetErrReasonByErrCode("x", 5);
    ErrorInfoMgr::Destroy();
    EXPECT_EQ(ReasonOf(5), "");
}

TEST_F(ErrorInfoMgrTest, SetEntersAndReplaces)
{
    ErrorInfoMgr::Instance()->SetErrReasonByErrCode("x", 5);
    EXPECT_EQ(ReasonOf(5), "x");
    ErrorInfoMgr::Instance()->SetErrReasonByErrCode("y", 5);
    EXPECT_EQ(ReasonOf(5), "y");
}

TEST_F(ErrorInfoMgrTest, MissEmptiesTheReasonAndIsNotLogged)
{
    EXPECT_EQ(ReasonOf(4711), "");
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(ErrorInfoMgrTest, CodesHave64Bits)
{
    ErrorInfoMgr::Instance()->SetErrReasonByErrCode("big", 0x1000000005UL);
    EXPECT_EQ(ReasonOf(5), "");
    EXPECT_EQ(ReasonOf(0x1000000005UL), "big");
}

TEST_F(ErrorInfoMgrTest, NamesAreNumbersInTheirOwnBase)
{
    m_Host.SetCfgFile("f", {{"0x2A", "hexadecimal"},
                            {"0X2b", "capital X"},
                            {"16", "decimal"},
                            {"010", "octal"},
                            {"77 and more", "rest ignored"},
                            {"letters", "zero"},
                            {"18446744073709551615", "largest"}});
    ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("f");
    EXPECT_EQ(ReasonOf(42), "hexadecimal");
    EXPECT_EQ(ReasonOf(43), "capital X");
    EXPECT_EQ(ReasonOf(16), "decimal");
    EXPECT_EQ(ReasonOf(8), "octal");
    EXPECT_EQ(ReasonOf(77), "rest ignored");
    EXPECT_EQ(ReasonOf(0), "zero");
    EXPECT_EQ(ReasonOf(~0UL), "largest");
}

TEST_F(ErrorInfoMgrTest, NameBeyond64BitsIsTheLargestCode)
{
    m_Host.SetCfgFile("f", {{"99999999999999999999", "too big"}, {"-1", "minus one"}});
    ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("f");
    EXPECT_EQ(ReasonOf(~0UL), "minus one") << "both names mean the same code, and the later one is kept";
}

TEST_F(ErrorInfoMgrTest, LaterPairOfAFileReplacesAnEarlierOne)
{
    m_Host.SetCfgFile("f", {{"5", "first"}, {"0x5", "second"}});
    ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("f");
    EXPECT_EQ(ReasonOf(5), "second");
}

TEST_F(ErrorInfoMgrTest, FileWithoutPairsIsNeitherEnteredNorLogged)
{
    m_Host.SetCfgFile("f", {});
    ErrorInfoMgr::Instance()->SetErrReasonByErrCode("x", 5);
    ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("f");
    EXPECT_EQ(ReasonOf(5), "x");
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(ErrorInfoMgrTest, UnreadableFileCostsOneLine)
{
    ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("/no/such/file");
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{{"errorinfomgr", "unknown", 74, 1,
                                     "[ErrorInfoMgr::ReadErrorInfoFrmCfg] Call GetAllCfgFrmFile error, "
                                     "failed to read file = /no/such/file"}}));
}

TEST_F(ErrorInfoMgrTest, PairsThatCameWithAFailureAreEntered)
{
    m_Host.SetCfgFile("f", {{"5", "read before the failure"}}, false);
    ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("f");
    EXPECT_EQ(ReasonOf(5), "read before the failure");
    EXPECT_EQ(m_Host.LogsAt("errorinfomgr", 74).size(), 1u);
}

/// An installation root below a folder of its own, with the directories of both languages.
class ErrorInfoMgrLoadTest : public ErrorInfoMgrTest {
protected:
    ErrorInfoMgrLoadTest()
    {
        fs::create_directories(m_Root);
        m_Host.SetRoot(m_Root.string());
    }

    std::string Directory(const char* pLanguage) const
    {
        return m_Root.string() + "/../etc/nbires/" + pLanguage + "/";
    }

    std::string StaticDataFile(const char* pLanguage) const
    {
        return m_Root.string() + "/../nbi/corba/res/staticdata/" + pLanguage + "/errcode_TAVO_TDT.res";
    }

    std::string AddEntry(const std::string& name, const char* pLanguage = "en_US") const
    {
        fs::create_directories(Directory(pLanguage));
        const std::string path = Directory(pLanguage) + name;
        std::ofstream(path) << "";
        return path;
    }

    /// What readdir yields, in its order.
    Paths Listing(const char* pLanguage = "en_US") const
    {
        Paths found;
        DIR* const pDirectory = opendir(Directory(pLanguage).c_str());
        while (const dirent* pEntry = readdir(pDirectory)) {
            const std::string name = pEntry->d_name;
            if (name != "." && name != "..") found.push_back(Directory(pLanguage) + name);
        }
        closedir(pDirectory);
        return found;
    }

    const nbitest::TestDirectory m_Top;
    fs::path m_Root = m_Top / "server";
};

TEST_F(ErrorInfoMgrLoadTest, MissingDirectoryIsNotLoggedAndTheStaticDataFileIsRead)
{
    m_Host.SetCfgFile(StaticDataFile("en_US"), {{"1", "stopped"}});
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_EQ(m_Host.CfgFilesRead(), Paths{StaticDataFile("en_US")});
    EXPECT_EQ(ReasonOf(1), "stopped");
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(ErrorInfoMgrLoadTest, FalseReadsTheChineseFiles)
{
    const std::string path = AddEntry("errcode_A.res", "zh_CN");
    AddEntry("errcode_A.res", "en_US");
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(false);
    EXPECT_EQ(m_Host.CfgFilesRead(), (Paths{path, StaticDataFile("zh_CN")}));
}

TEST_F(ErrorInfoMgrLoadTest, AccessFileComesFirstThenTheListingThenTheStaticDataFile)
{
    for (int i = 0; i < 40; ++i) AddEntry("errcode_" + std::to_string(i) + ".res");
    const std::string access = AddEntry("errcode_ACCESS_TDT.res");
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);

    Paths expected = Listing();
    expected.erase(std::find(expected.begin(), expected.end(), access));
    expected.insert(expected.begin(), access);
    expected.push_back(StaticDataFile("en_US"));
    EXPECT_EQ(m_Host.CfgFilesRead(), expected);
}

TEST_F(ErrorInfoMgrLoadTest, AccessFileIsFirstBesideOneOther)
{
    for (const char* pOther : {"aaa", "zzz", "errcode_ACCESS_TDT.res~"}) {
        SCOPED_TRACE(pOther);
        fs::remove_all(Directory("en_US"));
        const std::string other = AddEntry(pOther);
        const std::string access = AddEntry("errcode_ACCESS_TDT.res");
        const std::size_t nBefore = m_Host.CfgFilesRead().size();
        ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
        Paths read = m_Host.CfgFilesRead();
        read.erase(read.begin(), read.begin() + static_cast<std::ptrdiff_t>(nBefore));
        EXPECT_EQ(read, (Paths{access, other, StaticDataFile("en_US")}));
    }
}

TEST_F(ErrorInfoMgrLoadTest, EntriesOfEveryNameAndKindAreRead)
{
    Paths expected{AddEntry(".hidden"),
                   AddEntry("README"),
                   AddEntry("errcode_X.res"),
                   AddEntry("..."),
                   AddEntry("errcode_access_TDT.res"),
                   AddEntry("a name with blanks")};
    fs::create_directory(Directory("en_US") + "folder");
    expected.push_back(Directory("en_US") + "folder");
    fs::create_symlink("/nowhere", Directory("en_US") + "dangling");
    expected.push_back(Directory("en_US") + "dangling");
    ASSERT_EQ(mkfifo((Directory("en_US") + "pipe").c_str(), 0600), 0);
    expected.push_back(Directory("en_US") + "pipe");
    expected.push_back(StaticDataFile("en_US"));

    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_THAT(m_Host.CfgFilesRead(), UnorderedElementsAreArray(expected));
    EXPECT_EQ(m_Host.LogsAt("errorinfomgr", 74).size(), expected.size()) << "none of them is readable here";
}

TEST_F(ErrorInfoMgrLoadTest, PathOfAnyLengthIsRead)
{
    const std::string name(255, 'n');
    for (int i = 0; i < 12; ++i) m_Root /= std::string(250, 'd');
    fs::create_directories(m_Root);
    m_Host.SetRoot(m_Root.string());
    const std::string path = AddEntry(name);
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_EQ(m_Host.CfgFilesRead(), (Paths{path, StaticDataFile("en_US")}));
}

TEST_F(ErrorInfoMgrLoadTest, StaticDataFileWinsAndTheAccessFileLoses)
{
    const std::string access = AddEntry("errcode_ACCESS_TDT.res");
    const std::string other = AddEntry("errcode_A.res");
    m_Host.SetCfgFile(access, {{"1", "access"}, {"2", "access"}, {"3", "access"}});
    m_Host.SetCfgFile(other, {{"2", "other"}, {"3", "other"}});
    m_Host.SetCfgFile(StaticDataFile("en_US"), {{"3", "static"}});
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_EQ(ReasonOf(1), "access");
    EXPECT_EQ(ReasonOf(2), "other");
    EXPECT_EQ(ReasonOf(3), "static");
}

TEST_F(ErrorInfoMgrLoadTest, UnreadableFileDoesNotStopTheLoad)
{
    const std::string path = AddEntry("errcode_A.res");
    m_Host.SetCfgFile(StaticDataFile("en_US"), {{"3", "static"}});
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_THAT(m_Host.Logs()[0].m_Text, ::testing::EndsWith(path));
    EXPECT_EQ(ReasonOf(3), "static");
}

TEST_F(ErrorInfoMgrLoadTest, EveryLoadReadsTheFilesAgain)
{
    m_Host.SetCfgFile(StaticDataFile("en_US"), {{"3", "old"}, {"4", "stays"}});
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    m_Host.SetCfgFile(StaticDataFile("en_US"), {{"3", "new"}});
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_EQ(ReasonOf(3), "new");
    EXPECT_EQ(ReasonOf(4), "stays");
}

TEST_F(ErrorInfoMgrLoadTest, SecondLanguageReplacesCodeByCode)
{
    m_Host.SetCfgFile(StaticDataFile("zh_CN"), {{"1", "一"}, {"2", "二"}});
    m_Host.SetCfgFile(StaticDataFile("en_US"), {{"1", "one"}});
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(false);
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    EXPECT_EQ(ReasonOf(1), "one");
    EXPECT_EQ(ReasonOf(2), "二");
}

TEST_F(ErrorInfoMgrLoadTest, LoadsOfTwoThreadsEnterBothLanguages)
{
    m_Host.SetCfgFile(StaticDataFile("zh_CN"), {{"1", "一"}, {"2", "二"}});
    m_Host.SetCfgFile(StaticDataFile("en_US"), {{"1", "one"}, {"3", "three"}});
    for (int nRound = 0; nRound < 50; ++nRound) {
        std::thread chinese([] { ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(false); });
        ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
        chinese.join();
        EXPECT_THAT(ReasonOf(1), AnyOf("one", "一"));
        EXPECT_EQ(ReasonOf(2), "二");
        EXPECT_EQ(ReasonOf(3), "three");
        ErrorInfoMgr::Destroy();
    }
}

TEST_F(ErrorInfoMgrTest, ReadersSeeAFileWholeOrNotAtAll)
{
    constexpr unsigned long FIRST = 1, LAST = 200;
    const auto Enter = [this](int nVersion) {
        std::vector<NS_BUNDLEMGR1::NameValueStru> pairs;
        for (unsigned long nCode = FIRST; nCode <= LAST; ++nCode) {
            pairs.push_back({std::to_string(nCode), std::to_string(nVersion)});
        }
        m_Host.SetCfgFile("f", pairs);
        ErrorInfoMgr::Instance()->ReadErrorInfoFrmCfg("f");
    };
    Enter(0);

    std::atomic<bool> bStop{false};
    std::atomic<int> nTorn{0};
    constexpr int READERS = 3;
    std::vector<std::thread> readers;
    readers.reserve(READERS);
    for (int i = 0; i < READERS; ++i) {
        readers.emplace_back([&] {
            while (!bStop) {
                const int nFirst = std::stoi(ReasonOf(FIRST));
                if (std::stoi(ReasonOf(LAST)) < nFirst) ++nTorn;
                std::this_thread::yield();
            }
        });
    }
    for (int nVersion = 1; nVersion <= 200; ++nVersion) Enter(nVersion);
    bStop = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(nTorn, 0);
    EXPECT_EQ(ReasonOf(LAST), "200");
}

}  // namespace
}  // namespace NS_UTIL
