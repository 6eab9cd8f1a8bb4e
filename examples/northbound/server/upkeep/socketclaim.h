/// \file
/// The local socket's path as one server's own.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "server/upkeep/lockfile.h"

namespace northbound {

/// The server cannot have its socket; what() is one line that says which and why.
class SocketError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Keeps a socket's path for this process, from construction to destruction or however the process ends: by a lock
/// on "<path>.lock", which stays behind without meaning anything. The ORB deletes whatever has the socket's name before
/// it makes its own, so nobody may ask it for a path that is not claimed.
class SocketClaim {
public:
    /// Makes the folder, closed to other users, when there is none.
    /// \param path "" claims nothing
    /// \param group the system's group whose members may enter the folder too; "": nobody
    /// \throws SocketError when another process has the path, something that is no socket has its name, its folder is
    ///         open to other users, it is no path for a socket, or there is no such group
    explicit SocketClaim(const std::string& path, const std::string& group = "");

private:
    std::optional<LockFile> m_Lock;
};

}  // namespace northbound
