/// \file
/// The log call shared by all subsystems, and the lookup of the host's log service behind it.
#pragma once

#include <atomic>
#include <cstdarg>

namespace NS_LOG_SERVICE1 {
class LogSvcInterface;
}

namespace NS_UTIL {

/// The function text of every log line and of every exception that the library raises itself.
constexpr const char* LOG_FUNCTION = "unknown";

/// Every log call uses this level, whatever its text.
constexpr int LOG_LEVEL = 1;

/// Module, line and function text under which a log line or an exception appears. Filters match on them, so
/// they belong to the message and do not follow the code when it moves.
struct SourceMark {
    const char* m_pModule;
    int m_nLine;
    const char* m_pFunction = LOG_FUNCTION;  // a caught exception brings its own text
};

/// A mark for a line without a fixed figure: where the call stands.
constexpr SourceMark Here(const char* pModule, int nLine = __builtin_LINE())
{
    return SourceMark{pModule, nLine, LOG_FUNCTION};
}

/// A cached pointer to the host's log service. Null until the first successful lookup; while it is null,
/// every call tries the lookup again, since the service may be registered late. Threads: any; once the
/// pointer is there a call takes no lock of its own.
class LogChannel {
public:
    /// The three texts go to the service's factory, in this order. They must outlive the channel.
    constexpr LogChannel(const char* pBundle, const char* pModel, const char* pLevel)
        : m_pBundle(pBundle), m_pModel(pModel), m_pLevel(pLevel)
    {
    }

    /// One line at LOG_LEVEL. Without a log service: nothing. Never throws, and keeps errno.
    void Write(const SourceMark& mark, const char* pFormat, ...) noexcept
        __attribute__((format(printf, 3, 4)));
    void WriteV(const SourceMark& mark, const char* pFormat, std::va_list args) noexcept
        __attribute__((format(printf, 3, 0)));

private:
    NS_LOG_SERVICE1::LogSvcInterface* LookUp();

    const char* m_pBundle;
    const char* m_pModel;
    const char* m_pLevel;
    std::atomic<NS_LOG_SERVICE1::LogSvcInterface*> m_pService{nullptr};
};

/// One line on the channel that every subsystem uses but the common service helpers, which keep one of their
/// own.
void WriteLog(const SourceMark& mark, const char* pFormat, ...) noexcept
    __attribute__((format(printf, 2, 3)));

}  // namespace NS_UTIL
