/// \file
/// Log destinations that lose no line without counting it.
#pragma once

#include <spdlog/sinks/base_sink.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace nbihost {

/// Writes each line with a write() of its own, so that a failure is known at once and belongs to that line.
/// Lines that could not be written are counted; the count goes in front of the next line that can. spdlog's
/// own files buffer, and write through a null stream after a failed rotation. Threads: any.
class LineSink : public spdlog::sinks::base_sink<std::mutex> {
public:
    /// Writes to \p nFd, which stays the caller's.
    LineSink(std::string name, int nFd);

    /// The file's path, or what the destination is called.
    const std::string& Name() const { return m_Name; }

    /// Tries to report lost lines now.
    /// \return those still unreported.
    unsigned long ReportLosses();
    unsigned long Losses();

    /// Text of the error that lost the last line.
    std::string LastError();

protected:
    void sink_it_(const spdlog::details::log_msg& message) final;
    void flush_() final {}

    /// Called before \p nSize bytes are written, with the lock held.
    virtual void MakeRoomLocked(std::size_t nSize);

    const std::string m_Name;
    int m_nFd;  // guarded by mutex_

private:
    bool WriteLocked(const spdlog::details::log_msg& message);
    bool WriteAllLocked(const char* pBytes, std::size_t nSize);
    bool ReportLossesLocked();

    unsigned long m_nLost = 0;  // guarded by mutex_
    int m_nError = 0;           // guarded by mutex_
    bool m_bTorn = false;       // guarded by mutex_; the destination ends in a piece of a lost line
};

/// A file that starts anew at a size and keeps its predecessors as NAME.1 (the youngest), NAME.2 and so on.
/// When it cannot be replaced, lines go on into the old one. A log file that is not a regular file, such as
/// /dev/null, is never replaced.
class RotatingFileSink : public LineSink {
public:
    /// Appends to \p path, making it when needed.
    /// \param nKeep predecessors; at least 1
    /// \throws std::system_error
    RotatingFileSink(const std::string& path, std::uint64_t nRotateBytes, std::uint64_t nKeep);
    ~RotatingFileSink() override;

protected:
    void MakeRoomLocked(std::size_t nSize) override;

private:
    void ReplaceLocked();

    const std::uint64_t m_nRotateBytes;
    // Made beforehand: a replacement needs no memory.
    const std::string m_Fresh;
    std::vector<std::string> m_Names;  // the file's, then those of its predecessors, the youngest first
    std::uint64_t m_nSize = 0;         // guarded by mutex_
    bool m_bRegular = false;
};

}  // namespace nbihost
