#include "logservice.h"

#include <spdlog/pattern_formatter.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "nbihost/standalone.h"

namespace nbihost {
namespace {

constexpr const char* LINE_PATTERN = "%Y-%m-%d %H:%M:%S.%e %l [%t] %v";
constexpr const char* NO_FUNCTION = "unknown";
constexpr std::size_t USUAL_LENGTH = 1024;
constexpr std::size_t MAX_LINE = 8192;

spdlog::level::level_enum LevelOf(int nLevel)
{
    switch (std::clamp<int>(nLevel, LOG_LEVEL_DEBUG, LOG_LEVEL_ERROR)) {
        case LOG_LEVEL_DEBUG:
            return spdlog::level::debug;
        case LOG_LEVEL_INFO:
            return spdlog::level::info;
        case LOG_LEVEL_WARNING:
            return spdlog::level::warn;
        default:
            return spdlog::level::err;
    }
}

/// Formats once; only a text that is longer than usual is formatted again.
void AppendFormatted(std::string& line, const char* pFormat, std::va_list args)
    __attribute__((format(printf, 2, 0)));
void AppendFormatted(std::string& line, const char* pFormat, std::va_list args)
{
    std::va_list again;
    va_copy(again, args);
    const std::size_t nBegin = line.size();
    line.resize(nBegin + USUAL_LENGTH);
    const int nLength = std::vsnprintf(&line[nBegin], USUAL_LENGTH, pFormat, args);
    const std::size_t nText = nLength < 0 ? 0 : static_cast<std::size_t>(nLength);
    line.resize(nBegin + nText);
    if (nText >= USUAL_LENGTH) std::vsnprintf(&line[nBegin], nText + 1, pFormat, again);
    va_end(again);
    if (nLength < 0) line += pFormat;  // better the bare format than nothing
}

/// Whoever sends long texts would push everything else out of the rotated files.
void Shorten(std::string& line)
{
    if (line.size() <= MAX_LINE) return;
    const std::string rest = " ... (" + std::to_string(line.size()) + " bytes)";
    line.resize(MAX_LINE - rest.size());
    line += rest;
}

bool IsControl(char character)
{
    const auto nByte = static_cast<unsigned char>(character);
    return (nByte < 0x20 && character != '\t') || nByte == 0x7F;
}

/// One line stays one line, whatever a request carries: control characters become \xNN, a line feed \n.
void EscapeControls(std::string& line)
{
    if (std::none_of(line.begin(), line.end(), IsControl)) return;
    std::string escaped;
    for (const char character : line) {
        if (!IsControl(character)) {
            escaped += character;
        } else if (character == '\n') {
            escaped += "\\n";
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned int>(character) & 0xFFU);
            escaped += code;
        }
    }
    line.swap(escaped);
}

}  // namespace

OpenLog::OpenLog(const LogOptions& options, Prefix prefix)
    : m_AsDebug(options.m_AsDebug), m_Prefix(std::move(prefix))
{
    if (!options.m_File.empty()) {
        m_Sinks.push_back(std::make_shared<RotatingFileSink>(options.m_File, options.m_nRotateBytes,
                                                             options.m_nRotateFiles));
    }
    if (options.m_bStderr) m_Sinks.push_back(std::make_shared<LineSink>("stderr", STDERR_FILENO));
    m_pLogger = std::make_unique<spdlog::logger>("nbihost", m_Sinks.begin(), m_Sinks.end());
    m_pLogger->set_pattern(LINE_PATTERN);
    m_pLogger->set_level(options.m_nLevel > LOG_LEVEL_ERROR ? spdlog::level::off : LevelOf(options.m_nLevel));
}

bool OpenLog::Wants(int nLevel) const
{
    return m_pLogger->should_log(LevelOf(nLevel));
}

int OpenLog::LevelAt(const char* pFile, int nLine, int nLevel) const
{
    const auto [begin, end] = m_AsDebug.equal_range(nLine);
    const bool bAsDebug = std::any_of(begin, end, [pFile](const auto& line) { return line.second == pFile; });
    return bAsDebug ? LOG_LEVEL_DEBUG : nLevel;
}

void OpenLog::AppendPrefix(std::string& line) const
{
    // A prefix callback may call code that logs: that line goes without a prefix instead of asking again.
    static thread_local bool t_bAsking = false;
    if (!m_Prefix || t_bAsking) return;
    t_bAsking = true;
    try {
        m_Prefix(line);
    } catch (...) {
        line.clear();
    }
    t_bAsking = false;
}

void OpenLog::Write(int nLevel, const char* pFile, const char* pFunction, int nLine, const char* pFormat,
                    std::va_list args)
{
    std::string line;
    AppendPrefix(line);
    line += pFile;
    if (nLine > 0) line.append(":").append(std::to_string(nLine));
    if (std::strcmp(pFunction, NO_FUNCTION) != 0) line.append(" ").append(pFunction);
    line += ' ';
    AppendFormatted(line, pFormat, args);
    Shorten(line);
    EscapeControls(line);
    m_pLogger->log(LevelOf(nLevel), spdlog::string_view_t(line));
}

unsigned long OpenLog::LinesLost() const
{
    unsigned long nLost = 0;
    for (const auto& sink : m_Sinks) nLost += sink->Losses();
    return nLost;
}

void OpenLog::ReportLosses()
{
    for (const auto& sink : m_Sinks) {
        const unsigned long nLost = sink->ReportLosses();
        if (nLost == 0) continue;
        std::fprintf(stderr, "nbihost: %lu log lines could not be written to %s: %s\n", nLost,
                     sink->Name().c_str(), sink->LastError().c_str());
    }
}

LogService& LogService::Instance()
{
    // Deliberate: never deleted. The library caches the pointer for the life of the process.
    static auto* pService = new LogService;
    return *pService;
}

void LogService::Use(std::shared_ptr<OpenLog> log)
{
    std::atomic_store(&m_Log, std::move(log));
}

NS_LOG_SERVICE1::LogSvcInterface* LogService::CreateLogger(const char*, const char*, const char*)
{
    return this;
}

void LogService::LogV(const char* pFile, const char* pFunction, int nLine, int nLevel, const char* pFormat,
                      std::va_list args)
{
    const std::shared_ptr<OpenLog> log = std::atomic_load(&m_Log);
    if (!log) return;
    const int nShown = log->LevelAt(pFile, nLine, nLevel);
    if (log->Wants(nShown)) log->Write(nShown, pFile, pFunction, nLine, pFormat, args);
}

}  // namespace nbihost
