/// \file
/// The log file as one server's own.
#pragma once

#include <memory>
#include <string>

#include "server/upkeep/lockfile.h"

namespace northbound {

/// Keeps other servers away from a log file, by a lock on "<path>.lock": of two that write one log, the first to start a
/// new file leaves the other writing into the old one. The log itself may be moved away meanwhile, as logrotate does.
/// Copies share the lock. Threads: one at a time.
class LogClaim {
public:
    /// \param path "" and what is no regular file, as /dev/null is none, are anybody's; so is a log in a folder where no
    ///             file can be made, since nobody starts a new one there
    /// \throws SettingsError when another process has claimed it
    explicit LogClaim(const std::string& path);

    /// The claim of a server whose log may have another path from now on.
    /// \throws as the constructor
    LogClaim For(const std::string& path) const { return path == m_Path ? *this : LogClaim(path); }

private:
    std::string m_Path;
    std::shared_ptr<const LockFile> m_pLock;
};

}  // namespace northbound
