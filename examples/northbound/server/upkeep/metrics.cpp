#include "server/upkeep/metrics.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

#include "nbihost/standalone.h"

namespace northbound {
namespace {

using NS_UTIL::PoolSnapshot;
using Clock = std::chrono::steady_clock;

constexpr const char* MODULE = "metrics";
constexpr std::chrono::seconds PATIENCE(1);
constexpr int WAITING = 8;  // connections that nobody has answered yet

std::string Seconds(std::chrono::nanoseconds duration)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.9g", std::chrono::duration<double>(duration).count());
    return text;
}

/// The lines of one figure after the other.
class Exposition {
public:
    Exposition& Begin(const char* pName, const char* pType, const char* pHelp)
    {
        m_Name = pName;
        m_Text += "# HELP " + m_Name + " " + pHelp + "\n# TYPE " + m_Name + " " + pType + "\n";
        return *this;
    }
    /// \param labels `{...}`, or "" for none; values and names in it need no escape
    void Add(const std::string& labels, const std::string& value, const char* pSuffix = "")
    {
        m_Text.append(m_Name).append(pSuffix).append(labels).append(" ").append(value).append("\n");
    }
    const std::string& Text() const { return m_Text; }

private:
    std::string m_Name;
    std::string m_Text;
};

std::string OfPool(const PoolSnapshot& pool, const std::string& further = "")
{
    return "{pool=\"" + std::to_string(pool.m_nNumber) + "\"" + further + "}";
}

struct PoolFigure {
    const char* m_pName;
    const char* m_pType;
    const char* m_pHelp;
    std::string (*m_pValue)(const PoolSnapshot&);
};

#define NUMBER(member) [](const PoolSnapshot& pool) { return std::to_string(pool.member); }
#define SECONDS(member) [](const PoolSnapshot& pool) { return Seconds(pool.member); }
constexpr PoolFigure POOL_FIGURES[] = {
    {"nbi_pool_workers", "gauge", "Threads that the pool is to have.", NUMBER(m_nWorkers)},
    {"nbi_pool_workers_started", "gauge", "Threads that have come to their work.", NUMBER(m_nStarted)},
    {"nbi_pool_workers_busy", "gauge", "Threads that have a task in their hands.", NUMBER(m_nBusy)},
    {"nbi_pool_queued", "gauge", "Tasks that wait for a worker.", NUMBER(m_nQueued)},
    {"nbi_pool_queued_most", "gauge", "Most tasks that have waited at once.", NUMBER(m_nMostQueued)},
    {"nbi_pool_oldest_queued_seconds", "gauge", "Age of the first queued task.", SECONDS(m_OldestQueued)},
    {"nbi_pool_longest_body_seconds", "gauge", "How long the oldest running body has run.",
     SECONDS(m_LongestBody)},
    {"nbi_pool_pushed_total", "counter", "Tasks that the pool has accepted.", NUMBER(m_nPushed)},
    {"nbi_pool_finished_total", "counter", "Tasks that ended well.", NUMBER(m_nFinished)},
    {"nbi_pool_failed_total", "counter", "Tasks that an exception ended.", NUMBER(m_nFailed)},
    {"nbi_pool_dropped_total", "counter", "Tasks that came when the pool was stopping.", NUMBER(m_nDropped)},
    {"nbi_pool_deferred_total", "counter", "Looks for work that left a task waiting at a limit.",
     NUMBER(m_nDeferred)},
};
#undef NUMBER
#undef SECONDS

void AddTimes(Exposition& text, const PoolSnapshot& pool, const NS_UTIL::TaskTimes& times)
{
    text.Add(OfPool(pool, ",quantile=\"0.5\""), Seconds(times.m_Median));
    text.Add(OfPool(pool, ",quantile=\"0.99\""), Seconds(times.m_P99));
    text.Add(OfPool(pool, ",quantile=\"1\""), Seconds(times.m_Longest));
    text.Add(OfPool(pool), Seconds(times.m_Sum), "_sum");
    text.Add(OfPool(pool), std::to_string(times.m_nMeasured), "_count");
}

void AddRefusals(Exposition& text, const PoolSnapshot& pool)
{
    for (const auto& [nCode, nCount] : pool.m_Refused) {
        char code[32];
        std::snprintf(code, sizeof(code), ",code=\"0x%08X\"", nCode);
        text.Add(OfPool(pool, code), std::to_string(nCount));
    }
}

/// Until all is sent or it takes too long.
void SendAll(int nPeer, const std::string& text, Clock::time_point end)
{
    for (std::size_t nDone = 0; nDone < text.size() && Clock::now() < end;) {
        const ssize_t nSent = send(nPeer, text.data() + nDone, text.size() - nDone, MSG_NOSIGNAL);
        if (nSent < 0 && errno != EINTR) return;
        if (nSent > 0) nDone += static_cast<std::size_t>(nSent);
    }
}

/// \return what was sent up to the empty line; "" when that does not come in time, or is too long
std::string Request(int nPeer, Clock::time_point end)
{
    std::string text;
    char bytes[512];
    while (text.find("\r\n\r\n") == std::string::npos) {
        if (Clock::now() >= end || text.size() >= Metrics::LONGEST_REQUEST) return "";
        const std::size_t nRoom = std::min(sizeof(bytes), Metrics::LONGEST_REQUEST - text.size());
        const ssize_t nGot = recv(nPeer, bytes, nRoom, 0);
        if (nGot < 0 && errno == EINTR) continue;
        if (nGot <= 0) return "";
        text.append(bytes, static_cast<std::size_t>(nGot));
    }
    return text;
}

std::string Response(const char* pStatus, const std::string& body)
{
    return std::string("HTTP/1.1 ") + pStatus +
           "\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\nConnection: "
           "close\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// Takes connections at \p address from now on.
/// \param nMode of the file that the socket is; 0 where it is none
template <class Address>
int Listen(const Address& address, const std::string& name, mode_t nMode = 0)
{
    const auto* const pAddress = reinterpret_cast<const sockaddr*>(&address);
    const int nSocket = socket(pAddress->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    constexpr int AGAIN = 1;  // also while connections of a server before this one fade away
    if (nSocket >= 0) setsockopt(nSocket, SOL_SOCKET, SO_REUSEADDR, &AGAIN, sizeof(AGAIN));
    if (nSocket >= 0 && bind(nSocket, pAddress, sizeof(address)) == 0 &&
        (nMode == 0 || chmod(name.c_str(), nMode) == 0) && listen(nSocket, WAITING) == 0) {
        return nSocket;
    }
    const std::string reason = std::strerror(errno);
    if (nSocket >= 0) close(nSocket);
    throw SocketError(name + " cannot be made: " + reason);
}

/// The claim has looked at the folder, which nobody else may enter, and at what has the name now.
int ListenAtPath(const std::string& path)
{
    if (path.empty()) return -1;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    unlink(path.c_str());
    return Listen(address, path, S_IRUSR | S_IWUSR);
}

int ListenAtPort(const std::optional<int>& nPort)
{
    if (!nPort) return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(*nPort));
    const int nSocket = Listen(address, "MetricsPort " + std::to_string(*nPort));
    socklen_t nLength = sizeof(address);
    getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "figures on 127.0.0.1:%u", ntohs(address.sin_port));
    return nSocket;
}

}  // namespace

std::string MetricsText(const std::vector<PoolSnapshot>& pools, const NS_UTIL::ProcessSnapshot& process,
                        unsigned long nLinesLost)
{
    Exposition text;
    for (const PoolFigure& figure : POOL_FIGURES) {
        text.Begin(figure.m_pName, figure.m_pType, figure.m_pHelp);
        for (const PoolSnapshot& pool : pools) text.Add(OfPool(pool), figure.m_pValue(pool));
    }
    text.Begin("nbi_pool_refused_total", "counter", "Tasks that were refused, by code.");
    for (const PoolSnapshot& pool : pools) AddRefusals(text, pool);
    text.Begin("nbi_pool_waiting_seconds", "summary", "Time from push to start, of measured tasks.");
    for (const PoolSnapshot& pool : pools) AddTimes(text, pool, pool.m_Waiting);
    text.Begin("nbi_pool_running_seconds", "summary", "Time of bodies, of measured tasks.");
    for (const PoolSnapshot& pool : pools) AddTimes(text, pool, pool.m_Running);
    text.Begin("nbi_waiting_threads", "gauge", "Threads that wait for the end of a task.")
        .Add("", std::to_string(process.m_nWaiting));
    text.Begin("nbi_waiting_threads_long", "gauge", "Those of them that have waited for more than a minute.")
        .Add("", std::to_string(process.m_nWaitingLong));
    text.Begin("nbi_log_lines_lost", "gauge", "Log lines that could not be written and are not reported yet.")
        .Add("", std::to_string(nLinesLost));
    return text.Text();
}

Metrics::Metrics(MetricsPlaces places, std::function<std::string()> text, const std::string& group)
    : m_Places(std::move(places)),
      m_Claim(m_Places.m_Socket, group),
      m_Text(std::move(text)),
      m_Port(ListenAtPort(m_Places.m_Port)),
      m_Socket(ListenAtPath(m_Places.m_Socket))
{
}

Metrics::~Metrics()
{
    if (m_Socket.IsOpen()) unlink(m_Places.m_Socket.c_str());
}

void Metrics::Answer(int nDescriptor) const
{
    const Descriptor peer(accept4(nDescriptor, nullptr, nullptr, SOCK_CLOEXEC));
    const int nPeer = peer.Number();
    if (nPeer < 0) return;  // it has gone again
    constexpr timeval STEP{0, 200'000};
    setsockopt(nPeer, SOL_SOCKET, SO_RCVTIMEO, &STEP, sizeof(STEP));
    setsockopt(nPeer, SOL_SOCKET, SO_SNDTIMEO, &STEP, sizeof(STEP));
    const Clock::time_point end = Clock::now() + PATIENCE;
    const std::string request = Request(nPeer, end);
    if (request.compare(0, 4, "GET ") == 0) {
        SendAll(nPeer, Response("200 OK", m_Text()), end);
    } else if (!request.empty()) {
        SendAll(nPeer, Response("405 Method Not Allowed", ""), end);
    }
}

void Metrics::WriteFile()
{
    const std::string draft = m_Places.m_File + ".part";
    std::ofstream file(draft, std::ios::trunc);
    file << m_Text();
    file.close();
    const bool bFailed = !file || std::rename(draft.c_str(), m_Places.m_File.c_str()) != 0;
    if (bFailed && !m_bFailed) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "MetricsFile: %s cannot be written: %s",
                     m_Places.m_File.c_str(), std::strerror(errno));
    }
    m_bFailed = bFailed;
}

}  // namespace northbound
