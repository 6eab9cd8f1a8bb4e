/// \file
/// Logging in, and who has.
#pragma once

#include <string>

#include "client/commands/commands.h"

namespace northbound {

/// Logs the session's user in with the password in \p file ("-": standard input), which leaves this process
/// only encrypted with the server's public key, and keeps the session's key in a KeyFile.
/// \throws as SendSecret()
int LogIn(const Session& session, const OutputOptions& output, const std::string& file);

/// Ends the session and removes its key.
int LogOut(const Session& session, const OutputOptions& output);

int ShowSessions(const Session& session, const OutputOptions& output);

/// The line of the server's configuration that lets \p user log in with the password in \p file. Needs no
/// server.
int ShowPasswordItem(const OutputOptions& output, const std::string& user, const std::string& file);

}  // namespace northbound
