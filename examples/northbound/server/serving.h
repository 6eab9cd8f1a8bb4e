/// \file
/// Which request the calling thread serves, if any: what the log's prefix is made of.
#pragma once

#include <string>

namespace NS_UTIL {
class ThreadContextInfo;
}

namespace northbound {

/// The context that a worker got with a task stays on it when the task is over, so it cannot tell whether the
/// thread works for a request now; this can. Everything concerns the calling thread alone, and Begin() and
/// End() need not be paired: a second Begin() replaces the first.
class Serving {
public:
    /// From now on the thread's log lines carry \p info's operation UUID, interface and user.
    static void Begin(const NS_UTIL::ThreadContextInfo& info);
    static void End() noexcept;

    /// Appends "<OpUUID>...</OpUUID> [<interface>] <user> " to \p line while the thread serves a request.
    /// The user is the client's own text: blanks and control characters, which could fake another prefix or
    /// line, are shown as "?".
    static void AppendPrefix(std::string& line);
};

/// Serves from construction to destruction.
class ServingScope {
public:
    explicit ServingScope(const NS_UTIL::ThreadContextInfo& info) { Serving::Begin(info); }
    ~ServingScope() { Serving::End(); }
    ServingScope(const ServingScope&) = delete;
    ServingScope& operator=(const ServingScope&) = delete;
};

}  // namespace northbound
