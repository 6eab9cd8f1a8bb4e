/// \file
/// The server's public key, and secrets that are sent under it.
#pragma once

#include <string>

#include "client/commands/commands.h"
#include "nbiutil/securebuffer.h"

namespace northbound {

struct SecretOptions {
    std::string m_File = "-";  // "-": standard input
    bool m_bEncrypt = false;
};

/// The public key as PEM ("BEGIN PUBLIC KEY").
int ShowPublicKey(const Session& session, const OutputOptions& output);

/// Sends what the file contains: an encrypted secret as hexadecimal text, in which blanks and line breaks do
/// not count; with m_bEncrypt a secret, which is encrypted here. Of that one line break at the end does not
/// count. From a terminal it is read without echo, up to the line's end.
/// \throws InputError when the file cannot be read, Northbound::OperationFailed when it cannot be sent.
int SendSecret(const Session& session, const OutputOptions& output, const SecretOptions& options);

/// Reads a secret as SendSecret() does with m_bEncrypt.
void ReadSecret(NS_UTIL::AutoReleaseString& secret, const std::string& path);

/// A challenge of the server's and the password in \p path, encrypted with its public key, as hexadecimal text.
std::string EncryptedLogin(const Session& session, const std::string& path);

/// The secret in \p path, encrypted with the server's public key, as hexadecimal text.
std::string EncryptedSecret(const Session& session, const std::string& path);

}  // namespace northbound
