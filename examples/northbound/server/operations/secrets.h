/// \file
/// The server's public key, and what comes encrypted with it.
#pragma once

#include <string>
#include <vector>

#include "server/serving/boundedtext.h"
#include "server/serving/operation.h"

namespace northbound {

class UserSessions;

/// The server's public RSA key. Another one each time the server starts.
class PublicKey {
public:
    static constexpr Profile PROFILE{6, "pubkey", Place::REQUEST_THREAD, Role::NONE};

    struct Request {};
    struct Result {
        std::string m_Der;  // PKCS#1 structure
    };

    Result Run(const Request& request, const Caller& caller) const;
};

/// Decrypts a secret with the private key of this process. The plain secret lives while Run() works, in
/// buffers that are wiped, and nothing of it but its length gets into an answer or the log.
class SendSecret {
public:
    static constexpr Profile PROFILE{7, "secret", Place::POOL_1, Role::ADMIN};

    struct Request {
        std::string m_Cipher;  // OAEP with SHA-1, as hexadecimal text

        std::vector<BoundedText> Texts() const { return {{"the encrypted secret", m_Cipher, MAX_CIPHER}}; }
    };
    struct Result {
        unsigned int m_nBytes = 0;  // of the secret
    };

    /// \throws ProcessException BAD_CIPHER_TEXT, NOT_DECRYPTED, or BAD_ARGUMENT for an empty secret
    Result Run(const Request& request, const Caller& caller) const;
};

/// Opens a session for the caller with a password that comes encrypted like a secret. The plain password lives while
/// it is checked.
class Login {
public:
    static constexpr Profile PROFILE{11, "login", Place::POOL_1, Role::NONE};

    struct Request {
        std::string m_Cipher;

        std::vector<BoundedText> Texts() const { return {{"the encrypted password", m_Cipher, MAX_CIPHER}}; }
    };
    struct Result {
        std::string m_Key;  // 32 hexadecimal digits, which the session's requests carry
    };

    explicit Login(UserSessions& sessions) : m_Sessions(sessions) {}

    /// \throws ProcessException as SendSecret, and NOT_LOGGED_IN
    Result Run(const Request& request, const Caller& caller) const;

private:
    UserSessions& m_Sessions;
};

/// Ends the caller's session.
class Logout {
public:
    static constexpr Profile PROFILE{13, "logout", Place::REQUEST_THREAD, Role::NONE};

    struct Request {};
    struct Result {};

    explicit Logout(UserSessions& sessions) : m_Sessions(sessions) {}

    /// \throws ProcessException NOT_LOGGED_IN when the caller has none
    Result Run(const Request& request, const Caller& caller) const;

private:
    UserSessions& m_Sessions;
};

}  // namespace northbound
