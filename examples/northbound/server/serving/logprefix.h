/// \file
/// The prefix of log lines: which request the calling thread serves, if any.
#pragma once

#include <string>

namespace NS_UTIL {
class ThreadContextInfo;
}

namespace northbound {

/// The context that a worker got with a task stays on it when the task is over, so it cannot tell whether the
/// thread works for a request now; this can. Everything concerns the calling thread alone, and Set() and
/// Clear() need not be paired: a second Set() replaces the first.
class LogPrefix {
public:
    /// From now on the thread's log lines carry \p info's operation UUID, interface and user.
    static void Set(const NS_UTIL::ThreadContextInfo& info);
    static void Clear() noexcept;

    /// Appends "<OpUUID>...</OpUUID> [<interface>] <user> " to \p line while the thread serves a request.
    /// The user is the client's own text: blanks and control characters, which could fake another prefix or
    /// line, are shown as "?", bytes that are no UTF-8 as "\xNN".
    static void Append(std::string& line);
};

/// The thread serves a request from construction to destruction.
class LogPrefixScope {
public:
    explicit LogPrefixScope(const NS_UTIL::ThreadContextInfo& info) { LogPrefix::Set(info); }
    ~LogPrefixScope() { LogPrefix::Clear(); }
    LogPrefixScope(const LogPrefixScope&) = delete;
    LogPrefixScope& operator=(const LogPrefixScope&) = delete;
};

}  // namespace northbound
