/// \file
/// The system calls by which a file is replaced, in front of the system's own: a test sees each of them, makes
/// it fail, or ends the process there.
#pragma once

#include <functional>
#include <string>

namespace nbitest {

struct FileCall {
    std::string m_Name;  ///< "write", "fsync", "syncfs", "flock" or "rename"
    std::string m_Path;  ///< of the file or folder; of a rename, the old name
    int m_nHandle;       ///< -1 for a rename
    bool m_bClosedInChildren;
};

/// \return 0: the call goes on to the system; else the error number that it fails with.
using FileHook = std::function<int(const FileCall&)>;

/// From now on each call of this thread goes through \p hook; one that the hook itself makes does not. Empty:
/// none.
void SetFileHook(FileHook hook);

}  // namespace nbitest
