#include "nbihost/logservice.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <thread>

#include "host/hostfixture.h"
#include "nbihost/bundlemgr.h"
#include "nbihost/standalone.h"

namespace {

using NS_LOG_SERVICE1::LogSvcInterface;
using Texts = std::vector<std::string>;

LogSvcInterface* Service()
{
    using namespace NS_BUNDLEMGR1;
    ServiceInterface* const pService = BundleMgr::Instance()->GetService(CheckIFBuf("LogSvcInterface"));
    return dynamic_cast<LogSvcInterface*>(pService)->CreateLogger("bundle", "model", "debug");
}

void WriteAt(const char* pModule, int nLine, const char* pText, ...) __attribute__((format(printf, 3, 4)));
void WriteAt(const char* pModule, int nLine, const char* pText, ...)
{
    std::va_list args;
    va_start(args, pText);
    Service()->LogV(pModule, "unknown", nLine, 1, pText, args);
    va_end(args);
}

void Write(int nLevel, const char* pFunction, const char* pFormat, ...) __attribute__((format(printf, 3, 4)));
void Write(int nLevel, const char* pFunction, const char* pFormat, ...)
{
    std::va_list args;
    va_start(args, pFormat);
    Service()->LogV("module", pFunction, 42, nLevel, pFormat, args);
    va_end(args);
}

class LogServiceTest : public nbitest::HostFixture {
protected:
    void Start(const std::string& more = "", std::function<void(std::string&)> prefix = {})
    {
        nbihost::HostHooks hooks;
        hooks.m_LogPrefix = std::move(prefix);
        m_pHost = std::make_unique<nbihost::Host>(WriteConfig(more), std::move(hooks));
        m_pHost->Start();
    }

    std::unique_ptr<nbihost::Host> m_pHost;
};

TEST_F(LogServiceTest, LineCarriesTimeLevelThreadModuleLineAndText)
{
    Start();
    Write(1, "unknown", "[Class::Method] %s = %d", "value", 7);
    const std::string line = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} info \\[" +
                             std::to_string(::gettid()) + "\\] module:42 \\[Class::Method\\] value = 7\n";
    EXPECT_THAT(ReadFile("log"), ::testing::MatchesRegex(line));
}

TEST_F(LogServiceTest, KnownFunctionIsShown)
{
    Start();
    Write(1, "DoIt", "text");
    EXPECT_EQ(TextsOf("log"), (Texts{"module:42 DoIt text"}));
}

TEST_F(LogServiceTest, LevelsHaveNamesAndTheEndsHold)
{
    Start("log_level=debug\n");
    for (const int nLevel : {-5, 0, 1, 2, 3, 99}) Write(nLevel, "unknown", "x");
    const Texts names{" debug ", " debug ", " info ", " warning ", " error ", " error "};
    const Texts lines = LinesOf("log");
    ASSERT_EQ(lines.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_NE(lines[i].find(names[i]), std::string::npos) << lines[i];
    }
}

TEST_F(LogServiceTest, LinesBelowTheLevelAreDropped)
{
    Start("log_level=warning\n");
    for (const int nLevel : {0, 1, 2, 3}) Write(nLevel, "unknown", "%d", nLevel);
    EXPECT_EQ(TextsOf("log"), (Texts{"module:42 2", "module:42 3"}));
}

TEST_F(LogServiceTest, LevelOffDropsAll)
{
    Start("log_level=off\n");
    Write(99, "unknown", "x");
    EXPECT_EQ(ReadFile("log"), "");
}

TEST_F(LogServiceTest, ChosenLinesAreDebug)
{
    Start("log_as_debug = other:42, module:42, module:7\n");
    Write(3, "unknown", "chosen");
    WriteAt("module", 7, "chosen, too");
    WriteAt("module", 43, "another line");
    WriteAt("modul", 42, "another module");
    EXPECT_EQ(TextsOf("log"), (Texts{"module:43 another line", "modul:42 another module"}));
}

TEST_F(LogServiceTest, ChosenLinesAreShownAtLevelDebug)
{
    Start("log_level = debug\nlog_as_debug = module:42\n");
    Write(3, "unknown", "x");
    EXPECT_NE(ReadFile("log").find(" debug "), std::string::npos);
}

TEST_F(LogServiceTest, TextOfAnyLengthIsWhole)
{
    Start();
    for (const std::size_t nLength : {0U, 1022U, 1023U, 1024U, 1025U, 8000U}) {
        Write(1, "unknown", "%s!%d", std::string(nLength, 'x').c_str(), 5);
        EXPECT_EQ(TextsOf("log").back(), "module:42 " + std::string(nLength, 'x') + "!5");
    }
}

TEST_F(LogServiceTest, LongLineIsCutAndTellsItsLength)
{
    Start();
    Write(1, "unknown", "%s", std::string(8000, 'x').c_str());
    EXPECT_EQ(TextsOf("log").back(), "module:42 " + std::string(8000, 'x'));
    Write(1, "unknown", "%s", std::string(2000000, 'y').c_str());
    const std::string cut = TextsOf("log").back();
    EXPECT_EQ(cut.size(), 8192u);
    EXPECT_THAT(cut, ::testing::EndsWith("yyy ... (2000010 bytes)"));
}

TEST_F(LogServiceTest, ControlCharactersCannotMakeASecondLine)
{
    Start("", [](std::string& line) { line += "user\r\n "; });
    Write(1, "unknown", "a\nb\x1B[31m\x7F\tc \xC3\xA4");
    EXPECT_EQ(TextsOf("log"), (Texts{"user\\x0D\\n module:42 a\\nb\\x1B[31m\\x7F\tc \xC3\xA4"}));
}

TEST_F(LogServiceTest, BracesAndPercentSignsOfTheTextAreText)
{
    Start();
    Write(1, "unknown", "{} {0} %s", "%d {x}");
    EXPECT_EQ(TextsOf("log"), (Texts{"module:42 {} {0} %d {x}"}));
}

TEST_F(LogServiceTest, PrefixIsAskedOnTheThreadThatLogs)
{
    static thread_local const char* t_pRequest = "";
    Start("", [](std::string& line) { line += t_pRequest; });
    Write(1, "unknown", "one");
    std::thread([] {
        t_pRequest = "request-7 ";
        Write(1, "unknown", "two");
    }).join();
    EXPECT_EQ(TextsOf("log"), (Texts{"module:42 one", "request-7 module:42 two"}));
}

TEST_F(LogServiceTest, PrefixIsNotAskedForLinesThatAreDropped)
{
    int nAsked = 0;
    Start("log_level=error\n", [&nAsked](std::string&) { ++nAsked; });
    Write(1, "unknown", "x");
    EXPECT_EQ(nAsked, 0);
}

TEST_F(LogServiceTest, FailingPrefixIsLeftOut)
{
    Start("", [](std::string& line) {
        line += "half";
        throw std::runtime_error("prefix");
    });
    Write(1, "unknown", "text");
    EXPECT_EQ(TextsOf("log"), (Texts{"module:42 text"}));
}

TEST_F(LogServiceTest, PrefixThatLogsGetsALineWithoutPrefix)
{
    Start("", [](std::string& line) {
        Write(1, "unknown", "inner");
        line += "prefix ";
    });
    Write(1, "unknown", "outer");
    EXPECT_EQ(TextsOf("log"), (Texts{"module:42 inner", "prefix module:42 outer"}));
}

TEST_F(LogServiceTest, ProgramsOwnLinesHaveNoLineNumber)
{
    Start("", [](std::string& line) { line += "p "; });
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, "server", "ready on %d", 4000);
    EXPECT_EQ(TextsOf("log"), (Texts{"p server ready on 4000"}));
}

TEST_F(LogServiceTest, StandardErrorGetsTheSameLines)
{
    nbihost::Host host(WriteFile("host.ini", "[host]\nroot=/tmp\nlog_file=log\nlog_stderr=yes\n"));
    host.Start();
    ::testing::internal::CaptureStderr();
    Write(1, "unknown", "text");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), ReadFile("log"));
    EXPECT_EQ(TextsOf("log"), (Texts{"module:42 text"}));
}

TEST_F(LogServiceTest, StandardErrorIsTheDefaultAndCanBeSwitchedOff)
{
    ::testing::internal::CaptureStderr();
    {
        nbihost::Host host(WriteFile("host.ini", "[host]\nroot=/tmp\n"));
        host.Start();
        Write(1, "unknown", "text");
    }
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("module:42 text\n"), std::string::npos);
    Start();
    ::testing::internal::CaptureStderr();
    Write(1, "unknown", "text");
    m_pHost.reset();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(LogServiceTest, ThreadsLoseAndMixNothing)
{
    constexpr int THREADS = 8;
    constexpr int LINES = 250;
    Start("log_rotate_bytes=20000\nlog_rotate_files=100\n");
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < LINES; ++n) Write(1, "unknown", "<%d/%d>", i, n);
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::multiset<std::string> texts;
    for (const auto& file : std::filesystem::directory_iterator(m_Folder)) {
        if (file.path().stem() != "log") continue;
        for (const std::string& text : TextsOf(file.path().filename())) texts.insert(text);
    }
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(THREADS * LINES));
    for (int i = 0; i < THREADS; ++i) {
        for (int n = 0; n < LINES; ++n) {
            EXPECT_EQ(texts.count("module:42 <" + std::to_string(i) + "/" + std::to_string(n) + ">"), 1u);
        }
    }
}

TEST_F(LogServiceTest, PointerKeptOverAStopIsStillGood)
{
    Start();
    LogSvcInterface* const pService = Service();
    m_pHost->Stop();
    m_pHost->Start();
    EXPECT_EQ(Service(), pService);
}

}  // namespace
