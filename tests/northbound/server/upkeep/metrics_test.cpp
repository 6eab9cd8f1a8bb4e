// Names, types and help texts that dashboards go by, and how scrapers get them.
#include "server/upkeep/metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <sstream>

#include "nbihost/recordinghost.h"
#include "northbound/scraper.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

using NS_UTIL::PoolSnapshot;
using NS_UTIL::ProcessSnapshot;
using ::testing::HasSubstr;
using ::testing::StartsWith;

PoolSnapshot Pool(unsigned int nNumber)
{
    PoolSnapshot pool;
    pool.m_nNumber = nNumber;
    pool.m_nWorkers = 20;
    pool.m_nPushed = 1234;
    pool.m_Refused = {{0x4118000A, 3}};
    pool.m_OldestQueued = std::chrono::milliseconds(1500);
    pool.m_Waiting.m_P99 = std::chrono::microseconds(20);
    pool.m_Waiting.m_nMeasured = 5;
    pool.m_Waiting.m_Sum = std::chrono::seconds(2);
    return pool;
}

std::string LinesWith(const std::string& text, const std::string& start)
{
    std::istringstream lines(text);
    std::string found;
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, start.size(), start) == 0) found += line + "\n";
    }
    return found;
}

TEST(MetricsTextTest, NamesTypesAndHelpTextsStay)
{
    EXPECT_EQ(LinesWith(MetricsText({Pool(0)}, ProcessSnapshot{}, 0), "#"),
              R"(# HELP nbi_pool_workers Threads that the pool is to have.
# TYPE nbi_pool_workers gauge
# HELP nbi_pool_workers_started Threads that have come to their work.
# TYPE nbi_pool_workers_started gauge
# HELP nbi_pool_workers_busy Threads that have a task in their hands.
# TYPE nbi_pool_workers_busy gauge
# HELP nbi_pool_queued Tasks that wait for a worker.
# TYPE nbi_pool_queued gauge
# HELP nbi_pool_queued_most Most tasks that have waited at once.
# TYPE nbi_pool_queued_most gauge
# HELP nbi_pool_oldest_queued_seconds Age of the first queued task.
# TYPE nbi_pool_oldest_queued_seconds gauge
# HELP nbi_pool_longest_body_seconds How long the oldest running body has run.
# TYPE nbi_pool_longest_body_seconds gauge
# HELP nbi_pool_pushed_total Tasks that the pool has accepted.
# TYPE nbi_pool_pushed_total counter
# HELP nbi_pool_finished_total Tasks that ended well.
# TYPE nbi_pool_finished_total counter
# HELP nbi_pool_failed_total Tasks that an exception ended.
# TYPE nbi_pool_failed_total counter
# HELP nbi_pool_dropped_total Tasks that came when the pool was stopping.
# TYPE nbi_pool_dropped_total counter
# HELP nbi_pool_deferred_total Looks for work that left a task waiting at a limit.
# TYPE nbi_pool_deferred_total counter
# HELP nbi_pool_refused_total Tasks that were refused, by code.
# TYPE nbi_pool_refused_total counter
# HELP nbi_pool_waiting_seconds Time from push to start, of measured tasks.
# TYPE nbi_pool_waiting_seconds summary
# HELP nbi_pool_running_seconds Time of bodies, of measured tasks.
# TYPE nbi_pool_running_seconds summary
# HELP nbi_waiting_threads Threads that wait for the end of a task.
# TYPE nbi_waiting_threads gauge
# HELP nbi_waiting_threads_long Those of them that have waited for more than a minute.
# TYPE nbi_waiting_threads_long gauge
# HELP nbi_log_lines_lost Log lines that could not be written and are not reported yet.
# TYPE nbi_log_lines_lost gauge
)");
}

TEST(MetricsTextTest, ValuesStandUnderTheirPool)
{
    const std::string text = MetricsText({Pool(0), Pool(2)}, ProcessSnapshot{3, 1}, 7);
    EXPECT_THAT(text, HasSubstr("\nnbi_pool_workers{pool=\"0\"} 20\nnbi_pool_workers{pool=\"2\"} 20\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_pool_oldest_queued_seconds{pool=\"2\"} 1.5\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_pool_refused_total{pool=\"0\",code=\"0x4118000A\"} 3\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_pool_waiting_seconds{pool=\"0\",quantile=\"0.99\"} 2e-05\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_pool_waiting_seconds_sum{pool=\"0\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_pool_waiting_seconds_count{pool=\"0\"} 5\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_waiting_threads 3\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_waiting_threads_long 1\n"));
    EXPECT_THAT(text, HasSubstr("\nnbi_log_lines_lost 7\n"));
}

TEST(MetricsTextTest, PromtoolFindsNothingWrong)
{
    const nbitest::TestDirectory folder;
    nbitest::WriteFile(folder / "metrics", MetricsText({Pool(0), Pool(2)}, ProcessSnapshot{}, 0));
    EXPECT_EQ(nbitest::OutputOf("promtool check metrics <" + (folder / "metrics") + " 2>&1; echo $?"), "0\n");
}

class MetricsTest : public ::testing::Test {
protected:
    /// What a client gets that sends \p request.
    std::string AnswerTo(const std::string& request) { return AnswerTo(Scraper(m_Path), SOCKET, request); }

    std::string AnswerTo(const Scraper& client, std::size_t nPlace, const std::string& request)
    {
        EXPECT_TRUE(client.IsConnected());
        client.Ask(request);
        m_Metrics.Answer(m_Metrics.Descriptors()[nPlace]);
        return client.Answer();
    }

    static constexpr std::size_t SOCKET = 0;  // of the descriptors
    static constexpr std::size_t PORT = 1;
    nbitest::RecordingHost m_Host;
    const nbitest::TestDirectory m_Folder;
    const std::string m_Path = m_Folder / "run/metrics.sock";
    const std::string m_File = m_Folder / "nbi.prom";
    Metrics m_Metrics{{m_File, m_Path, 0}, [] { return "nbi_something 1\n"; }};
};

/// Where a socket of the Internet listens.
sockaddr_in AddressOf(int nSocket)
{
    sockaddr_in address{};
    socklen_t nLength = sizeof(address);
    EXPECT_EQ(getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength), 0);
    return address;
}

TEST_F(MetricsTest, SocketIsItsOwnUsersAlone)
{
    struct stat status {};
    ASSERT_EQ(stat(m_Path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(MetricsTest, GetIsAnsweredWithTheFigures)
{
    const std::string answer = AnswerTo("GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_THAT(answer,
                StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"));
    EXPECT_THAT(answer, HasSubstr("Content-Length: 16\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\n\r\nnbi_something 1\n"));
}

TEST_F(MetricsTest, PortOfTheLoopbackInterfaceAnswersTheSame)
{
    const sockaddr_in address = AddressOf(m_Metrics.Descriptors()[PORT]);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    const int nPort = ntohs(address.sin_port);
    EXPECT_THAT(AnswerTo(Scraper(nPort), PORT, "GET /metrics HTTP/1.1\r\n\r\n"),
                HasSubstr("\r\n\r\nnbi_something 1\n"));
    EXPECT_THAT(AnswerTo(Scraper(nPort), PORT, "PUT / HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 405 "));
    EXPECT_EQ(AnswerTo(Scraper(nPort), PORT, "GET /" + std::string(Metrics::LONGEST_REQUEST, 'x')), "");
    EXPECT_THAT(m_Host.Logs().at(0).m_Text, HasSubstr("figures on 127.0.0.1:" + std::to_string(nPort)));
}

TEST_F(MetricsTest, PortThatIsTakenIsNamed)
{
    const int nPort = ntohs(AddressOf(m_Metrics.Descriptors()[PORT]).sin_port);
    try {
        const Metrics second({"", "", nPort}, [] { return ""; });
        FAIL() << "two have the port";
    } catch (const SocketError& e) {
        EXPECT_EQ(e.what(),
                  "MetricsPort " + std::to_string(nPort) + " cannot be made: Address already in use");
    }
}

TEST_F(MetricsTest, OtherMethodsAreRefused)
{
    EXPECT_THAT(AnswerTo("POST /metrics HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 405 "));
}

TEST_F(MetricsTest, RequestThatIsTooLongGetsNothing)
{
    EXPECT_EQ(AnswerTo("GET /" + std::string(Metrics::LONGEST_REQUEST, 'x')), "");
}

TEST_F(MetricsTest, HalfARequestHoldsNobodyUp)
{
    EXPECT_EQ(AnswerTo("GET /metrics"), "");
    EXPECT_THAT(AnswerTo("GET / HTTP/1.0\r\n\r\n"), StartsWith("HTTP/1.1 200 OK"));
}

TEST_F(MetricsTest, FileIsWrittenWholeAndAnew)
{
    m_Metrics.WriteFile();
    EXPECT_EQ(nbitest::ReadFile(m_File), "nbi_something 1\n");
    nbitest::WriteFile(m_File, "old");
    m_Metrics.WriteFile();
    EXPECT_EQ(nbitest::ReadFile(m_File), "nbi_something 1\n");
}

TEST_F(MetricsTest, SocketThatADeadServerLeftBehindIsTaken)
{
    const std::string path = m_Folder / "run/left.sock";
    const int nLeft = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = Scraper::AddressOf(path);
    ASSERT_EQ(bind(nLeft, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(nLeft);
    const Metrics metrics({"", path, {}}, [] { return ""; });
    EXPECT_GE(metrics.Descriptors()[SOCKET], 0);
}

TEST(NoMetricsTest, WithoutAPlaceThereIsNone)
{
    const Metrics metrics({}, [] { return ""; });
    EXPECT_EQ(metrics.Descriptors(), (std::array<int, 2>{-1, -1}));
    EXPECT_FALSE(metrics.HasFile());
}

}  // namespace
}  // namespace northbound
