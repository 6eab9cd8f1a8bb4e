/// \file
/// Changes of the server's own configuration file while it runs.
#pragma once

#include <functional>
#include <mutex>
#include <string>

namespace northbound {

/// Changes one item in place, in the configuration file itself or in a file of changes whose items take the
/// place of those of the configuration. The file as it was is kept beside it, in the folder "<file>.d", and
/// comes back when the changed one does not load.
/// Threads: any; one change at a time.
class ConfigEditor {
public:
    /// \param changedFile what is written: \p configFile, or a file that may be missing yet and in whose folder
    ///                    files can be made
    /// \param reload      reads both files again; throws when they do not load
    ConfigEditor(std::string configFile, std::string changedFile, std::function<void()> reload);

    /// \throws ProcessException BAD_ARGUMENT when key or value are no part of a line "key = value".
    /// \throws ProcessException NOT_CONFIGURED when no line sets the key, when its text stands in several lines (in comments and
    ///         inside longer keys it counts, since the edit replaces every line that holds it), when the file has
    ///         over 1,024 lines or a line of over 1,023 characters, when it cannot be copied or written, or
    ///         when it does not load with the change. The file is then as it was.
    void Set(const std::string& key, const std::string& value);

    /// Reads both files again, as somebody else has written them.
    /// \throws whatever the reload throws when they do not load.
    void Reload();

private:
    void Adopt(const std::string& key, const std::string& before) const;
    void Edit(const std::string& key, const std::string& value, const std::string& before);
    void CheckFile(const std::string& key) const;
    void PutBack(const std::string& before) const;

    const std::string m_ConfigFile;
    const std::string m_ChangedFile;
    const std::string m_BackupFolder;
    const std::string m_BackupFile;
    const bool m_bApart;  // m_ChangedFile is a file of its own
    const std::function<void()> m_Reload;
    std::mutex m_Mutex;  // one change at a time
};

}  // namespace northbound
