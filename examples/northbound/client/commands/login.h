/// \file
/// Logging in, and who has.
#pragma once

#include <string>

#include "client/commands/commands.h"

namespace northbound {

/// Logs the session's user in with the password in \p file ("-": standard input), which leaves this process
/// only encrypted with the server's public key.
/// \throws as SendSecret()
int LogIn(const Session& session, const OutputOptions& output, const std::string& file);

int ShowSessions(const Session& session, const OutputOptions& output);

/// The line of the server's configuration that lets \p user log in with the password in \p file. Needs no
/// server.
int ShowPasswordItem(const OutputOptions& output, const std::string& user, const std::string& file);

}  // namespace northbound
