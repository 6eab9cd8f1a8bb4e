// Log lines of the standalone host against a second formatter: one line each, whatever a request carries, of at most 8 KiB
// before its control characters are shown.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

#include "fuzz/demand.h"
#include "fuzz/fuzzinput.h"
#include "host/standalone/logservice.h"

namespace {

using nbitest::Demand;

constexpr std::size_t MOST = 8192;

struct Line {
    std::string m_Prefix;
    std::string m_File;
    std::string m_Function;
    int m_nLine;
    std::string m_Text;
};

__attribute__((format(printf, 3, 4))) void Write(nbihost::OpenLog& log, const Line& line, const char* pFormat,
                                                 ...)
{
    std::va_list args;
    va_start(args, pFormat);
    log.Write(3, line.m_File.c_str(), line.m_Function.c_str(), line.m_nLine, pFormat, args);
    va_end(args);
}

/// What a C string has of it.
std::string UpToZero(const std::string& text)
{
    return text.substr(0, text.find('\0'));
}

std::string Shown(char character)
{
    const auto nByte = static_cast<unsigned char>(character);
    if (nByte == '\n') return "\\n";
    if (nByte == '\t' || (nByte >= 0x20 && nByte != 0x7F)) return std::string(1, character);
    char text[5];
    std::snprintf(text, sizeof text, "\\x%02X", static_cast<unsigned int>(nByte));
    return text;
}

std::string Expected(const Line& line)
{
    std::string whole = line.m_Prefix + line.m_File;
    if (line.m_nLine > 0) whole += ":" + std::to_string(line.m_nLine);
    if (line.m_Function != "unknown") whole += " " + line.m_Function;
    whole += " " + line.m_Text;
    if (whole.size() > MOST) {
        const std::string rest = " ... (" + std::to_string(whole.size()) + " bytes)";
        whole = whole.substr(0, MOST - rest.size()) + rest;
    }
    std::string shown;
    for (const char character : whole) shown += Shown(character);
    return shown + "\n";
}

std::string ReadAll(int nFile)
{
    std::string text(static_cast<std::size_t>(lseek(nFile, 0, SEEK_END)), '\0');
    Demand(pread(nFile, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
           "the file can be read");
    return text;
}

/// Behind the time, the level and the thread.
std::string TextOf(const std::string& written)
{
    const std::size_t nThread = written.find("] ");
    return nThread == std::string::npos ? written : written.substr(nThread + 2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    nbitest::FuzzInput input(pData, nSize);
    Line line{input.Text(), UpToZero(input.Text()), UpToZero(input.Text()), static_cast<int>(input.Word()),
              ""};
    const std::size_t nTimes = input.Byte() % 64 + 1;
    const std::string piece = UpToZero(input.LongText());
    for (std::size_t i = 0; i < nTimes; ++i) line.m_Text += piece;

    static const int nFile = memfd_create("log", MFD_CLOEXEC);
    Demand(ftruncate(nFile, 0) == 0, "the file can be emptied");
    nbihost::LogOptions options;
    options.m_File = "/proc/self/fd/" + std::to_string(nFile);
    options.m_nRotateBytes = UINT64_MAX / 2;
    options.m_bStderr = false;
    nbihost::OpenLog log(options, [&line](std::string& text) { text += line.m_Prefix; });
    Write(log, line, "%s", line.m_Text.c_str());
    Demand(TextOf(ReadAll(nFile)) == Expected(line), "a line");
    Demand(log.LinesLost() == 0, "no line is lost");
    return 0;
}
