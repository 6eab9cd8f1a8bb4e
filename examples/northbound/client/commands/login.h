/// \file
/// Logging in, and who has.
#pragma once

#include <string>

#include "client/commands/commands.h"

namespace northbound {

/// Logs the session's user in with the password in \p file ("-": standard input), which leaves this process
/// only encrypted with the server's public key, and keeps the session's key in a KeyFile.
/// \throws as OpenSession()
int LogIn(const Session& session, const OutputOptions& output, const std::string& file);

/// Opens a session at the server that is asked now, and keeps its key in a KeyFile.
/// \return the key
/// \throws as SendSecret()
std::string OpenSession(const Session& session, const std::string& file);

/// Ends the session and removes its key.
int LogOut(const Session& session, const OutputOptions& output);

int ShowSessions(const Session& session, const OutputOptions& output);

/// The line of the server's configuration that lets \p user log in with the password in \p file. Needs no
/// server.
int ShowPasswordItem(const OutputOptions& output, const std::string& user, const std::string& file);

}  // namespace northbound
