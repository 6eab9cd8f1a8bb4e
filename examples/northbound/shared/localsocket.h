/// \file
/// Where a server and the clients of its own user meet without a network.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace northbound {

/// In front of a socket's path, in place of "<host>:<port>": "unix:/run/user/1000/nbiutil/nbi-server.sock".
constexpr const char* SOCKET_SCHEME = "unix:";

/// This user's folder for what lasts as long as he is there: "nbiutil" below $XDG_RUNTIME_DIR, else below
/// /run/user/<uid> where there is one, else "/tmp/nbiutil-<uid>". It may be missing.
std::string RuntimeFolder();

/// The socket of this user's server: "nbi-server.sock" in that folder.
std::string DefaultSocket();

/// What keeps \p path from being a socket's, as the rest of a sentence about it; "" when nothing does.
std::string SocketPathFault(const std::string& path);

/// What lets others than this process's user into \p folder, or keeps it from being a folder, as the rest of a
/// sentence about it; "" when nothing does, or when there is no such folder.
/// \param group whose members may enter too, though they may change nothing there
std::string FolderFault(const std::string& folder, const std::optional<gid_t>& group = {});

}  // namespace northbound
