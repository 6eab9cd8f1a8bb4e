/// \file
/// File descriptors that close themselves, that no child inherits, and that never stand for a standard
/// stream.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace NS_UTIL {

/// Owns a descriptor from open() and its relatives; -1 is "none".
class FileHandle {
public:
    explicit FileHandle(int nHandle) : m_nHandle(nHandle) {}
    ~FileHandle()
    {
        if (IsOpen()) close(m_nHandle);
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    bool IsOpen() const { return m_nHandle >= 0; }
    int Get() const { return m_nHandle; }

private:
    int m_nHandle;
};

/// The same open file under a number above those of the standard streams: in a server that has closed one of
/// them, the system gives its number to the next file, and what is printed would be written into that file.
/// \param nHandle from open() and its relatives, with O_CLOEXEC; not to be used any more. -1 stays -1
/// \return        -1 with errno when no such number is left
inline int AboveStandardStreams(int nHandle)
{
    if (nHandle < 0 || nHandle > STDERR_FILENO) return nHandle;
    const int nAbove = fcntl(nHandle, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int nError = errno;
    close(nHandle);
    errno = nError;
    return nAbove;
}

/// open() for the library's own files: closed in children, above the standard streams.
/// \param nMode permissions of a file that nFlags make, before the umask
/// \return      -1 with errno when the file cannot be opened
inline int OpenFile(const char* pPath, int nFlags, mode_t nMode = 0)
{
    return AboveStandardStreams(open(pPath, nFlags | O_CLOEXEC, nMode));
}

struct CloseStream {
    void operator()(std::FILE* pStream) const { std::fclose(pStream); }
};
using FileStream = std::unique_ptr<std::FILE, CloseStream>;

/// A stream that reads a file opened like that.
/// \return null with errno when there is none
inline FileStream OpenForReading(const char* pPath)
{
    const int nHandle = OpenFile(pPath, O_RDONLY);
    if (nHandle < 0) return nullptr;
    FileStream stream(fdopen(nHandle, "r"));
    if (!stream) close(nHandle);
    return stream;
}

}  // namespace NS_UTIL
