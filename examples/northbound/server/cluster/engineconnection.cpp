#include "server/cluster/engineconnection.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t MAX_TEXT = 4096;     // bytes of a connection text
constexpr std::size_t MAX_MESSAGE = 1000;  // bytes of what the engine says about a failure
constexpr std::size_t MAX_PARAMETERS = 100;

/// The connection is of no use any more, though time is left.
class ConnectionBroken : public EngineAway {
public:
    using EngineAway::EngineAway;
};

struct Clear {
    void operator()(PGresult* pResult) const { PQclear(pResult); }
};
using Result = std::unique_ptr<PGresult, Clear>;

struct FreeOptions {
    void operator()(PQconninfoOption* pOptions) const { PQconninfoFree(pOptions); }
};

/// On one line, without what indents its second one, and of a length for a log.
std::string OneLine(const char* pText)
{
    std::string text = pText == nullptr ? "" : pText;
    while (!text.empty() && text.back() == '\n') text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    text.erase(std::remove(text.begin(), text.end(), '\t'), text.end());
    return text.substr(0, MAX_MESSAGE);
}

std::string MessageOf(const PGconn* pConnection)
{
    return OneLine(PQerrorMessage(pConnection));
}

void IgnoreNotice(void* /*pContext*/, const PGresult* /*pNotice*/)
{
}

/// Until the socket is ready for one of \p nEvents.
/// \throws EngineAway at \p end
void AwaitSocket(const PGconn* pConnection, short nEvents, Clock::time_point end)
{
    pollfd socket{PQsocket(pConnection), nEvents, 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0) throw EngineAway("the engine did not answer in time");
        const int nReady = poll(&socket, 1, static_cast<int>(left.count()));
        if (nReady > 0) return;
        if (nReady < 0 && errno != EINTR) throw ConnectionBroken("the engine's socket cannot be waited for");
    }
}

void Send(PGconn* pConnection, Clock::time_point end)
{
    for (;;) {
        const int nLeft = PQflush(pConnection);
        if (nLeft == 0) return;
        if (nLeft < 0) throw ConnectionBroken(MessageOf(pConnection));
        AwaitSocket(pConnection, POLLIN | POLLOUT, end);
        if (PQconsumeInput(pConnection) == 0) throw ConnectionBroken(MessageOf(pConnection));
    }
}

/// \return null behind the last one
Result NextResult(PGconn* pConnection, Clock::time_point end)
{
    while (PQisBusy(pConnection) != 0) {
        AwaitSocket(pConnection, POLLIN, end);
        if (PQconsumeInput(pConnection) == 0) throw ConnectionBroken(MessageOf(pConnection));
    }
    return Result(PQgetResult(pConnection));
}

/// What is no fault of the statement: the engine starts or stops, has no room, is a standby or chose this statement to
/// give way. Classes of SQLSTATE, and whole ones.
bool SaysAway(const std::string& state)
{
    const std::string group = state.substr(0, 2);
    return group == "08" || group == "40" || group == "53" || group == "57" || state == "25006" ||
           state == "55P03";
}

/// One answer as it comes in, row by row, so that one beyond all bounds is noticed in time.
class Answer {
public:
    explicit Answer(std::size_t nMost) : m_nMost(nMost) {}

    void Take(const PGresult* pResult)
    {
        const ExecStatusType status = PQresultStatus(pResult);
        if (status == PGRES_SINGLE_TUPLE) return TakeRow(pResult);
        if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK || status == PGRES_EMPTY_QUERY) return;
        const char* const pState = PQresultErrorField(pResult, PG_DIAG_SQLSTATE);
        m_State = pState == nullptr ? "" : pState;
        m_Failure = OneLine(PQresultErrorMessage(pResult));
    }

    bool IsTooLong() const { return m_nBytes > m_nMost; }

    /// \throws EngineAway, EngineRefusal
    Rows Finished(const PGconn* pConnection)
    {
        if (PQstatus(pConnection) == CONNECTION_BAD) throw ConnectionBroken(MessageOf(pConnection));
        if (SaysAway(m_State)) throw EngineAway(m_Failure);
        if (!m_Failure.empty()) throw EngineRefusal(m_State, m_Failure);
        return std::move(m_Rows);
    }

private:
    void TakeRow(const PGresult* pResult)
    {
        Cells cells;
        const int nCells = PQnfields(pResult);
        cells.reserve(static_cast<std::size_t>(nCells));
        for (int i = 0; i < nCells; ++i) {
            cells.push_back(PQgetisnull(pResult, 0, i) != 0 ? Cell() : Cell(PQgetvalue(pResult, 0, i)));
            m_nBytes += sizeof(Cell) + static_cast<std::size_t>(PQgetlength(pResult, 0, i));
        }
        m_nBytes += sizeof(Cells);
        m_Rows.push_back(std::move(cells));
    }

    const std::size_t m_nMost;
    std::size_t m_nBytes = 0;
    Rows m_Rows;
    std::string m_State;
    std::string m_Failure;
};

Rows Receive(PGconn* pConnection, Clock::time_point end, std::size_t nMost)
{
    Send(pConnection, end);
    Answer answer(nMost);
    while (const Result pResult = NextResult(pConnection, end)) {
        answer.Take(pResult.get());
        if (answer.IsTooLong()) throw EngineRefusal("", "the engine's answer is too long");
    }
    return answer.Finished(pConnection);
}

Rows Ask(PGconn* pConnection, Clock::time_point end, std::size_t nMost, const std::string& statement,
         const Cells& parameters)
{
    std::vector<const char*> values;
    values.reserve(parameters.size());
    for (const Cell& parameter : parameters) values.push_back(parameter ? parameter->c_str() : nullptr);
    if (PQsendQueryParams(pConnection, statement.c_str(), static_cast<int>(values.size()), nullptr,
                          values.data(), nullptr, nullptr, 0) == 0) {
        throw ConnectionBroken(MessageOf(pConnection));
    }
    PQsetSingleRowMode(pConnection);
    return Receive(pConnection, end, nMost);
}

void AskScript(PGconn* pConnection, Clock::time_point end, std::size_t nMost, const std::string& statements)
{
    if (PQsendQuery(pConnection, statements.c_str()) == 0) throw ConnectionBroken(MessageOf(pConnection));
    Receive(pConnection, end, nMost);
}

/// The engine ends by itself what nobody waits for any more, and a session's own settings do not depend on those of
/// its user or database.
std::string SessionSettings(std::chrono::milliseconds call)
{
    return "SET default_transaction_isolation = 'read committed'; SET default_transaction_read_only = off;"
           "SET search_path = pg_catalog; SET idle_in_transaction_session_timeout = 10000;"
           "SET statement_timeout = " +
           std::to_string(call.count());
}

void RequireBytes(std::size_t nBytes, std::size_t nMost)
{
    if (nBytes > nMost) {
        throw EngineRefusal("", "a request of " + std::to_string(nBytes) + " bytes is too long");
    }
}

}  // namespace

void CheckConnectionText(const std::string& text)
{
    if (text.size() > MAX_TEXT || text.find('\0') != std::string::npos) {
        throw std::invalid_argument("the connection text is too long or no text");
    }
    // Deliberate: what libpq says of a text that it cannot read shows parts of it, and is not passed on.
    const std::unique_ptr<PQconninfoOption, FreeOptions> pOptions(PQconninfoParse(text.c_str(), nullptr));
    if (pOptions == nullptr) throw std::invalid_argument("the connection text is none that libpq reads");
    for (const PQconninfoOption* pOption = pOptions.get(); pOption->keyword != nullptr; ++pOption) {
        if (std::string(pOption->keyword) == "password" && pOption->val != nullptr) {
            throw std::invalid_argument(
                "the connection text has a password: it belongs into a password file (passfile) or a service "
                "file");
        }
    }
}

void EngineConnection::Close::operator()(pg_conn* pConnection) const
{
    PQfinish(pConnection);
}

EngineConnection::EngineConnection(std::string text, const EngineLimits& limits)
    : m_Text(std::move(text)), m_Limits(limits)
{
    CheckConnectionText(m_Text);
}

EngineConnection::~EngineConnection() = default;
EngineConnection::EngineConnection(EngineConnection&&) noexcept = default;

EngineConnection::Connection EngineConnection::Open(Clock::time_point end) const
{
    const char* const keys[] = {"dbname", "fallback_application_name", "client_encoding", nullptr};
    const char* const values[] = {m_Text.c_str(), "nbi-server", "UTF8", nullptr};
    Connection pConnection(PQconnectStartParams(keys, values, 1));
    if (!pConnection) throw std::bad_alloc();
    PQsetNoticeReceiver(pConnection.get(), IgnoreNotice, nullptr);
    PostgresPollingStatusType next = PGRES_POLLING_WRITING;
    while (next != PGRES_POLLING_OK) {
        if (next == PGRES_POLLING_FAILED || PQstatus(pConnection.get()) == CONNECTION_BAD) {
            throw EngineAway(MessageOf(pConnection.get()));
        }
        AwaitSocket(pConnection.get(), next == PGRES_POLLING_READING ? POLLIN : POLLOUT, end);
        next = PQconnectPoll(pConnection.get());
    }
    PQsetnonblocking(pConnection.get(), 1);
    AskScript(pConnection.get(), end, m_Limits.m_nAnswer, SessionSettings(m_Limits.m_Call));
    return pConnection;
}

void EngineConnection::NoteFailure(const std::string& what)
{
    m_LastFailure = what;
    m_Pause = std::min(std::max(2 * m_Pause, m_Limits.m_FirstPause), m_Limits.m_LongestPause);
    m_NextAttempt = Clock::now() + m_Pause;
}

void EngineConnection::Connect(Clock::time_point end)
{
    if (Clock::now() < m_NextAttempt) throw EngineAway(m_LastFailure);
    try {
        m_pConnection = Open(end);
        m_Pause = m_Pause.zero();
    } catch (const EngineAway& e) {
        NoteFailure(e.what());
        throw;
    }
}

/// Of a connection that has failed, or is in the middle of something, nothing is left.
template <class Call>
auto EngineConnection::OnThisConnection(Call call)
{
    try {
        return call(m_pConnection.get());
    } catch (const EngineAway&) {
        m_pConnection.reset();
        throw;
    } catch (const EngineRefusal& e) {
        if (e.State().empty()) m_pConnection.reset();
        throw;
    }
}

template <class Call>
auto EngineConnection::Calling(Clock::time_point end, Call call)
{
    if (m_pConnection) {
        try {
            return OnThisConnection(call);
        } catch (const ConnectionBroken&) {  // the engine was started anew since: once more
        }
    }
    Connect(end);
    return OnThisConnection(call);
}

Rows EngineConnection::Execute(const std::string& statement, const Cells& parameters)
{
    return ExecuteUntil(Clock::now() + m_Limits.m_Call, statement, parameters);
}

Rows EngineConnection::ExecuteUntil(Clock::time_point end, const std::string& statement,
                                    const Cells& parameters)
{
    std::size_t nBytes = statement.size();
    for (const Cell& parameter : parameters) nBytes += parameter ? parameter->size() : 0;
    RequireBytes(nBytes, m_Limits.m_nRequest);
    if (parameters.size() > MAX_PARAMETERS) throw EngineRefusal("", "too many parameters");
    return Calling(end, [&](pg_conn* pConnection) {
        return Ask(pConnection, end, m_Limits.m_nAnswer, statement, parameters);
    });
}

void EngineConnection::ExecuteScript(const std::string& statements)
{
    RequireBytes(statements.size(), m_Limits.m_nRequest);
    const Clock::time_point end = Clock::now() + m_Limits.m_Call;
    Calling(end, [&](pg_conn* pConnection) { AskScript(pConnection, end, m_Limits.m_nAnswer, statements); });
}

}  // namespace northbound
