/// \file
/// One connection to the database engine that holds a shared book. No call outlasts its limit.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "server/cluster/enginefailure.h"

struct pg_conn;

namespace northbound {

using Cell = std::optional<std::string>;  // nothing: NULL
using Cells = std::vector<Cell>;
using Rows = std::vector<Cells>;

struct EngineLimits {
    std::chrono::milliseconds m_Call{900};       // of a call, with connecting where that is due
    std::chrono::milliseconds m_FirstPause{50};  // after an attempt to connect that failed; doubled each time
    std::chrono::milliseconds m_LongestPause{800};  // and never longer than this
    std::size_t m_nRequest = 1 << 20;               // bytes of a statement and its parameters
    std::size_t m_nAnswer = 8 << 20;                // bytes of an answer
};

/// Looks at a connection text of libpq, "key=value ..." or a URI, without using it. A password in it is refused: the
/// text stands in a configuration that many may read, and a password file or a service file need not.
/// \throws std::invalid_argument with a text that shows nothing of \p text
void CheckConnectionText(const std::string& text);

/// Connects at its first call, and again when the connection has broken. Threads: one at a time.
///
/// libpq's own waiting calls wait for an engine that is there and does not answer, whatever its time-outs say; here
/// every wait is a poll() up to the call's end. Resolving a host's name is the one exception: libpq leaves it to the
/// system, so the text names hostaddr, or the folder of a socket.
class EngineConnection {
public:
    /// \throws std::invalid_argument as CheckConnectionText()
    explicit EngineConnection(std::string text, const EngineLimits& limits = {});
    ~EngineConnection();
    EngineConnection(EngineConnection&&) noexcept;
    EngineConnection& operator=(EngineConnection&&) = delete;
    EngineConnection(const EngineConnection&) = delete;
    EngineConnection& operator=(const EngineConnection&) = delete;

    /// Has the engine carry out one statement; one that gives itself a transaction, outside any other. An old connection
    /// that turns out to be broken is replaced within the same call and the statement sent again, so it must be one
    /// that may be repeated. After a time-out the engine ends the statement by itself.
    /// \param parameters of $1, $2, ... in text form
    /// \throws EngineAway at the limit, when the connection breaks, and at once while the next attempt to connect is
    ///         not due; EngineRefusal
    Rows Execute(const std::string& statement, const Cells& parameters = {});

    /// The same until \p end, which lies no further ahead than the limit of a call.
    Rows ExecuteUntil(std::chrono::steady_clock::time_point end, const std::string& statement,
                      const Cells& parameters = {});

    /// Several statements in one transaction, with no parameters and no answer.
    void ExecuteScript(const std::string& statements);

private:
    using Clock = std::chrono::steady_clock;
    struct Close {
        void operator()(pg_conn* pConnection) const;
    };
    using Connection = std::unique_ptr<pg_conn, Close>;

    template <class Call>
    auto Calling(Clock::time_point end, Call call);
    template <class Call>
    auto OnThisConnection(Call call);
    void Connect(Clock::time_point end);
    Connection Open(Clock::time_point end) const;
    void NoteFailure(const std::string& what);

    const std::string m_Text;
    const EngineLimits m_Limits;
    Connection m_pConnection;  // null: none
    std::chrono::milliseconds m_Pause{0};
    Clock::time_point m_NextAttempt{};
    std::string m_LastFailure;
};

}  // namespace northbound
