/// \file
/// What collections and packings have left in their folder, and for how long it stays.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "shared/descriptor.h"

namespace northbound {

/// One file of the folder.
struct CollectionFile {
    std::string m_Name;  // without the folder
    std::string
        m_State;  // "running"; "part": cancelled, abandoned or cut short; "whole": finished, or an archive
    std::uint64_t m_nBytes = 0;
    std::chrono::nanoseconds m_Age{0};  // since its last change

    std::string Key() const { return m_Name; }
    std::vector<std::string> Texts() const { return {m_Name, m_State}; }
};

/// How long files stay. Those of a running collection stay in any case.
struct Retention {
    std::chrono::hours m_Part{7 * 24};  // files of collections that did not end
    std::chrono::hours m_Whole{0};      // finished ones and archives; 0: for ever
    std::uint64_t m_nBytes = 0;         // of all files, the oldest go first; 0: any number
};

struct Swept {
    std::size_t m_nFiles = 0;
    std::uint64_t m_nBytes = 0;
};

/// The collection files and archives of one folder; other files in it are nobody's here. Threads: any.
class CollectionFiles {
public:
    using IsRunning = std::function<bool(const std::string& name)>;

    CollectionFiles(std::string directory, IsRunning isRunning);

    std::vector<CollectionFile> List() const;

    /// Removes what \p retention does not keep; each file costs a line in the log.
    Swept Sweep(const Retention& retention) const;

private:
    bool Remove(const CollectionFile& file, const char* pWhy) const;

    const std::string m_Directory;
    const IsRunning m_IsRunning;
};

/// Keeps other servers away from a folder for as long as it lives.
class FolderClaim {
public:
    /// Makes the folder when it is not there.
    /// \throws SettingsError when it cannot be written, or another server's process has claimed it
    FolderClaim(const char* pItem, const std::string& folder);

private:
    Descriptor m_Folder;
};

}  // namespace northbound
