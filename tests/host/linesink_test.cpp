#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <memory>

#include "host/hostfixture.h"
#include "nbihost/standalone.h"
#include "support/heapwatch.h"
#include "util/filecalls.h"

namespace {

using namespace nbitest;
using Texts = std::vector<std::string>;

void Write(const std::string& text)
{
    nbihost::Log(nbihost::LOG_LEVEL_INFO, "test", "%s", text.c_str());
}

std::size_t OpenFiles()
{
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

/// Makes every write beyond \p nBytes of a file fail, as on a full disk.
void LimitFileSize(rlim_t nBytes)
{
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = nBytes;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
}

class LineSinkTest : public nbitest::HostFixture {
protected:
    ~LineSinkTest() override { LimitFileSize(RLIM_INFINITY); }

    void Start(const std::string& more = "")
    {
        m_pHost = std::make_unique<nbihost::Host>(WriteConfig(more));
        m_pHost->Start();
    }

    void StartOn(const std::string& logFile)
    {
        m_pHost = std::make_unique<nbihost::Host>(
            WriteFile("host.ini", "[host]\nroot=/tmp\nlog_stderr=no\nlog_file=" + logFile + "\n"));
        m_pHost->Start();
    }

    std::string StderrOfStop()
    {
        ::testing::internal::CaptureStderr();
        m_pHost->Stop();
        return ::testing::internal::GetCapturedStderr();
    }

    /// The names in the folder that begin with \p begin.
    Texts NamesOf(const std::string& begin) const
    {
        Texts names;
        for (const auto& entry : std::filesystem::directory_iterator(PathOf("."))) {
            const std::string name = entry.path().filename();
            if (name.compare(0, begin.size(), begin) == 0) names.push_back(name);
        }
        return names;
    }

    std::unique_ptr<nbihost::Host> m_pHost;
};

TEST_F(LineSinkTest, LogIsAppendedTo)
{
    WriteFile("log", "old\n");
    Start();
    Write("new");
    EXPECT_EQ(TextsOf("log"), (Texts{"old", "test new"}));
}

TEST_F(LineSinkTest, LogIsNotReadableForEveryone)
{
    ::umask(0);
    Start();
    struct stat status {};
    ASSERT_EQ(::stat(PathOf("log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(LineSinkTest, FullDiskIsCountedAndReportedAtTheStop)
{
    StartOn("/dev/full");
    for (int i = 0; i < 3; ++i) Write("lost");
    EXPECT_EQ(m_pHost->LinesLost(), 3u);
    EXPECT_EQ(StderrOfStop(),
              "nbihost: 3 log lines could not be written to /dev/full: No space left on device\n");
}

TEST_F(LineSinkTest, LossesAreReportedOnceWhenWritingWorksAgain)
{
    Start();
    Write("before");
    LimitFileSize(std::filesystem::file_size(PathOf("log")));
    Write("lost");
    Write("lost too");
    EXPECT_EQ(m_pHost->LinesLost(), 2u);
    LimitFileSize(RLIM_INFINITY);
    Write("after");
    Write("later");
    EXPECT_EQ(TextsOf("log"), (Texts{"test before", "host: 2 log lines were lost here: File too large",
                                     "test after", "test later"}));
    EXPECT_EQ(m_pHost->LinesLost(), 0u);
    EXPECT_EQ(StderrOfStop(), "");
}

TEST_F(LineSinkTest, LossesAreReportedInTheLogAtTheStopWhenWritingWorksAgain)
{
    Start();
    LimitFileSize(0);
    Write("lost");
    LimitFileSize(RLIM_INFINITY);
    EXPECT_EQ(StderrOfStop(), "");
    EXPECT_EQ(TextsOf("log"), (Texts{"host: 1 log lines were lost here: File too large"}));
}

TEST_F(LineSinkTest, PieceOfALostLineDoesNotRunIntoTheNextOne)
{
    Start();
    LimitFileSize(10);
    Write("torn");
    EXPECT_EQ(ReadFile("log").size(), 10u);
    LimitFileSize(RLIM_INFINITY);
    Write("whole");
    const Texts texts = TextsOf("log");
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[0].size(), 10u);
    EXPECT_EQ(texts[2], "test whole");
}

TEST_F(LineSinkTest, LostLinesOfTheFileStillReachStandardError)
{
    m_pHost = std::make_unique<nbihost::Host>(
        WriteFile("host.ini", "[host]\nroot=/tmp\nlog_stderr=yes\nlog_file=/dev/full\n"));
    m_pHost->Start();
    ::testing::internal::CaptureStderr();
    Write("seen");
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("test seen\n"), std::string::npos);
    EXPECT_EQ(m_pHost->LinesLost(), 1u);
    StderrOfStop();
}

class RotationTest : public LineSinkTest {
protected:
    /// Every line of "test x" is 39 to 46 bytes, by the thread's number: two do not fit.
    void StartSmall(int nKeep)
    {
        Start("log_rotate_bytes=60\nlog_rotate_files=" + std::to_string(nKeep) + "\n");
    }
};

TEST_F(RotationTest, LineThatDoesNotFitStartsANewFile)
{
    StartSmall(3);
    for (const char* pText : {"a", "b", "c"}) Write(pText);
    EXPECT_EQ(TextsOf("log"), (Texts{"test c"}));
    EXPECT_EQ(TextsOf("log.1"), (Texts{"test b"}));
    EXPECT_EQ(TextsOf("log.2"), (Texts{"test a"}));
}

TEST_F(RotationTest, OnlyTheYoungestAreKept)
{
    StartSmall(2);
    for (const char* pText : {"a", "b", "c", "d", "e"}) Write(pText);
    EXPECT_EQ(TextsOf("log"), (Texts{"test e"}));
    EXPECT_EQ(TextsOf("log.1"), (Texts{"test d"}));
    EXPECT_EQ(TextsOf("log.2"), (Texts{"test c"}));
    EXPECT_FALSE(std::filesystem::exists(PathOf("log.3")));
    EXPECT_FALSE(std::filesystem::exists(PathOf("log.new")));
}

TEST_F(RotationTest, LineLongerThanTheLimitHasAFileOfItsOwn)
{
    StartSmall(3);
    Write("a");
    Write(std::string(500, 'x'));
    Write("b");
    EXPECT_EQ(TextsOf("log.2"), (Texts{"test a"}));
    EXPECT_EQ(TextsOf("log.1"), (Texts{"test " + std::string(500, 'x')}));
    EXPECT_EQ(TextsOf("log"), (Texts{"test b"}));
}

TEST_F(RotationTest, SizeOfAFileThatWasThereCounts)
{
    WriteFile("log", std::string(99, 'x') + "\n");
    StartSmall(3);
    Write("a");
    EXPECT_EQ(TextsOf("log"), (Texts{"test a"}));
    EXPECT_EQ(ReadFile("log.1").size(), 100u);
}

TEST_F(RotationTest, FileThatCannotBeReplacedIsWrittenOn)
{
    std::filesystem::create_directory(PathOf("log.new"));  // where the new file would be made
    StartSmall(3);
    for (const char* pText : {"a", "b", "c"}) Write(pText);
    EXPECT_EQ(TextsOf("log"), (Texts{"test a", "test b", "test c"}));
    EXPECT_EQ(m_pHost->LinesLost(), 0u);
}

TEST_F(RotationTest, FileThatCannotBeMovedIsWrittenOn)
{
    std::filesystem::create_directories(PathOf("log.1/in the way"));
    Start("log_rotate_bytes=60\nlog_rotate_files=1\n");
    for (const char* pText : {"a", "b", "c"}) Write(pText);
    EXPECT_EQ(TextsOf("log"), (Texts{"test a", "test b", "test c"}));
    EXPECT_FALSE(std::filesystem::exists(PathOf("log.new")));
}

TEST_F(RotationTest, FileIsPutBackWhereItsSuccessorCannotBeMoved)
{
    StartSmall(3);
    Write("a");
    SetFileHook([](const FileCall& call) { return call.m_Path.find(".new") != std::string::npos ? EIO : 0; });
    Write("b");
    SetFileHook({});
    EXPECT_EQ(TextsOf("log"), (Texts{"test a", "test b"}));
    EXPECT_FALSE(std::filesystem::exists(PathOf("log.1")));
    EXPECT_FALSE(std::filesystem::exists(PathOf("log.new")));
}

/// Each line has a file of its own. One that is lost is counted, whether the count has been told already or not.
TEST_F(RotationTest, WithoutMemoryEachLineIsCountedAndNoFileStaysOpen)
{
    StartSmall(100);
    const std::size_t nOpen = OpenFiles();
    unsigned long nAccepted = 0;
    FailEachAllocation(
        [&] {
            Write(std::string(400, 'x'));
            ++nAccepted;
        },
        [&] { ASSERT_EQ(OpenFiles(), nOpen); });
    unsigned long nTold = m_pHost->LinesLost();
    for (const std::string& name : NamesOf("log")) {
        for (const std::string& text : TextsOf(name)) {
            unsigned long nLost = 1;
            std::sscanf(text.c_str(), "host: %lu log lines were lost here", &nLost);
            nTold += nLost;
        }
    }
    EXPECT_EQ(nTold, nAccepted);
}

TEST_F(RotationTest, FileThatSomebodyTookAwayIsMadeAgain)
{
    StartSmall(3);
    Write("a");
    std::filesystem::remove(PathOf("log"));
    Write("b");
    EXPECT_EQ(TextsOf("log"), (Texts{"test b"}));
}

TEST_F(RotationTest, DeviceIsNeverReplaced)
{
    std::filesystem::create_symlink("/dev/null", PathOf("log"));
    StartSmall(3);
    for (const char* pText : {"a", "b", "c"}) Write(pText);
    EXPECT_TRUE(std::filesystem::is_symlink(PathOf("log")));
    EXPECT_FALSE(std::filesystem::exists(PathOf("log.1")));
}

}  // namespace
