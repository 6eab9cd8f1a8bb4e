/// \file
/// A file descriptor that closes itself.
#pragma once

#include <unistd.h>

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

}  // namespace NS_UTIL
