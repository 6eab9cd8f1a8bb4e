/// \file
/// The next text of a file, in a file of its own beside it until it is whole.
///
/// A draft is called like its file with ".nbi-draft." and six letters or digits behind. It may hold passwords,
/// and a process that is killed leaves it behind: the next edit of the same file removes every draft that no
/// process holds. Who writes one holds a lock on it (flock), which goes with the process.
#pragma once

#include <sys/stat.h>

#include <string>

#include "base/filehandle.h"

namespace NS_UTIL {

/// Removes what killed processes have left beside \p target (an absolute path without links), as far as this
/// user may.
void RemoveAbandonedDrafts(const std::string& target);

/// Writes all of \p text, through interruptions.
/// \return false with errno
bool WriteAll(int nFile, const std::string& text);

/// One draft, readable by nobody else until it resembles its file. Removed when it goes, unless it has taken
/// the file's place. Threads: one.
class Draft {
public:
    /// \param target absolute path without links
    explicit Draft(const std::string& target);
    ~Draft();
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    /// Gives the draft owner and mode of \p wanted.
    /// \return false when there is no draft, or none with this owner and mode
    bool Resembles(const struct stat& wanted);
    /// \return false with errno when the text is not on the disk
    bool Store(const std::string& text);
    /// \return false with errno when the system refuses, as it does for a file that is mounted by itself
    bool TakePlace();
    /// Makes the new name last: without this a power cut may bring the old text back.
    /// \return false with errno
    bool SyncFolder() const;

private:
    std::string m_Target;
    std::string m_Path;
    FileHandle m_File;
    bool m_bInPlace = false;
};

}  // namespace NS_UTIL
