#include "linesink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

namespace nbihost {
namespace {

constexpr int LOG_FILE_MODE = 0640;

int OpenForAppend(const std::string& path, int nFlags)
{
    return ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | nFlags, LOG_FILE_MODE);
}

}  // namespace

LineSink::LineSink(std::string name, int nFd) : m_Name(std::move(name)), m_nFd(nFd)
{
}

unsigned long LineSink::ReportLosses()
{
    std::lock_guard<std::mutex> guard(mutex_);
    ReportLossesLocked();
    return m_nLost;
}

unsigned long LineSink::Losses()
{
    std::lock_guard<std::mutex> guard(mutex_);
    return m_nLost;
}

std::string LineSink::LastError()
{
    std::lock_guard<std::mutex> guard(mutex_);
    return std::strerror(m_nError);
}

void LineSink::sink_it_(const spdlog::details::log_msg& message)
{
    try {
        if (ReportLossesLocked() && WriteLocked(message)) return;
    } catch (const std::bad_alloc&) {
        m_nError = ENOMEM;
    }
    ++m_nLost;
}

void LineSink::MakeRoomLocked(std::size_t)
{
}

bool LineSink::WriteLocked(const spdlog::details::log_msg& message)
{
    spdlog::memory_buf_t line;
    if (m_bTorn) line.push_back('\n');
    formatter_->format(message, line);
    MakeRoomLocked(line.size());
    return WriteAllLocked(line.data(), line.size());
}

bool LineSink::WriteAllLocked(const char* pBytes, std::size_t nSize)
{
    std::size_t nDone = 0;
    while (nDone < nSize) {
        const ssize_t nWritten = ::write(m_nFd, pBytes + nDone, nSize - nDone);
        if (nWritten >= 0) {
            nDone += static_cast<std::size_t>(nWritten);
        } else if (errno != EINTR) {
            m_nError = errno;
            m_bTorn = m_bTorn || nDone > 0;
            return false;
        }
    }
    m_bTorn = false;
    return true;
}

bool LineSink::ReportLossesLocked()
{
    if (m_nLost == 0) return true;
    const std::string text =
        "host: " + std::to_string(m_nLost) + " log lines were lost here: " + std::strerror(m_nError);
    const spdlog::details::log_msg report(spdlog::string_view_t(), spdlog::level::warn, text);
    if (!WriteLocked(report)) return false;
    m_nLost = 0;
    return true;
}

RotatingFileSink::RotatingFileSink(const std::string& path, std::uint64_t nRotateBytes, std::uint64_t nKeep)
    : LineSink(path, -1), m_nRotateBytes(nRotateBytes), m_Fresh(path + ".new"), m_Names{path}
{
    for (std::uint64_t n = 1; n <= nKeep; ++n) m_Names.push_back(path + '.' + std::to_string(n));
    m_nFd = OpenForAppend(path, 0);  // here, where nothing that needs memory comes behind it
    if (m_nFd < 0) throw std::system_error(errno, std::generic_category());
    struct stat status {};
    if (::fstat(m_nFd, &status) != 0) return;
    m_bRegular = S_ISREG(status.st_mode);
    m_nSize = static_cast<std::uint64_t>(status.st_size);
}

RotatingFileSink::~RotatingFileSink()
{
    ::close(m_nFd);
}

void RotatingFileSink::MakeRoomLocked(std::size_t nSize)
{
    if (m_bRegular && m_nSize > 0 && m_nSize + nSize > m_nRotateBytes) {
        ReplaceLocked();
        m_nSize = 0;  // after a failure, too: the next attempt comes when as much again has been written
    }
    m_nSize += nSize;
}

void RotatingFileSink::ReplaceLocked()
{
    // The new file first: when it cannot be made, nothing has been moved.
    const int nFd = OpenForAppend(m_Fresh, O_TRUNC);
    if (nFd < 0) return;
    for (std::size_t n = m_Names.size() - 1; n > 1; --n) {
        std::rename(m_Names[n - 1].c_str(), m_Names[n].c_str());
    }
    const bool bMoved = std::rename(m_Name.c_str(), m_Names[1].c_str()) == 0;
    if ((bMoved || errno == ENOENT) && std::rename(m_Fresh.c_str(), m_Name.c_str()) == 0) {
        ::close(std::exchange(m_nFd, nFd));
        return;
    }
    if (bMoved) std::rename(m_Names[1].c_str(), m_Name.c_str());
    ::close(nFd);
    ::unlink(m_Fresh.c_str());
}

}  // namespace nbihost
