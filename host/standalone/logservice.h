/// \file
/// The log service of the standalone host.
#pragma once

#include <spdlog/logger.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "linesink.h"
#include "nbihost/logservice.h"
#include "settings.h"

namespace nbihost {

/// An open log: its destinations, and the prefix of its lines. Threads: any.
class OpenLog {
public:
    using Prefix = std::function<void(std::string& line)>;

    /// \throws std::system_error when the log file cannot be opened for writing.
    OpenLog(const LogOptions& options, Prefix prefix);

    bool Wants(int nLevel) const;
    /// \return the level of a line that comes with \p nLevel: debug, where the configuration says so
    int LevelAt(const char* pFile, int nLine, int nLevel) const;
    void Write(int nLevel, const char* pFile, const char* pFunction, int nLine, const char* pFormat,
               std::va_list args) __attribute__((format(printf, 6, 0)));

    unsigned long LinesLost() const;

    /// Reports lost lines at their destination or, where that still fails, on stderr.
    void ReportLosses();

private:
    void AppendPrefix(std::string& line) const;

    const std::multimap<int, std::string> m_AsDebug;
    std::vector<std::shared_ptr<LineSink>> m_Sinks;
    std::unique_ptr<spdlog::logger> m_pLogger;
    Prefix m_Prefix;
};

/// What the framework hands out: one object for the life of the process, since callers keep its pointer, in
/// front of the log that is open, if any.
class LogService : public NS_LOG_SERVICE1::LogSvcInterface {
public:
    static LogService& Instance();

    /// Lines go to \p log from now on; null: nowhere. A line that is being written still ends in the old one.
    void Use(std::shared_ptr<OpenLog> log);

    LogSvcInterface* CreateLogger(const char* pBundle, const char* pModel, const char* pLevel) override;
    void LogV(const char* pFile, const char* pFunction, int nLine, int nLevel, const char* pFormat,
              std::va_list args) override __attribute__((format(printf, 6, 0)));

private:
    std::shared_ptr<OpenLog> m_Log;  // through the atomic operations of shared_ptr only
};

}  // namespace nbihost
