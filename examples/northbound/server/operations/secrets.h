/// \file
/// The server's public key, and what comes encrypted with it.
#pragma once

#include <string>
#include <vector>

#include "server/serving/boundedtext.h"
#include "server/serving/logingate.h"
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

/// What the next login encrypts in front of the password, so that nobody can send it again.
class Challenge {
public:
    static constexpr Profile PROFILE{14, "challenge", Place::REQUEST_THREAD, Role::NONE};

    struct Request {};
    struct Result {
        std::string m_Text;  // LOGIN_CHALLENGE characters
    };

    explicit Challenge(const LoginGate& gate) : m_Gate(gate) {}

    Result Run(const Request& /*request*/, const Caller& /*caller*/) const { return {m_Gate.Challenge()}; }

private:
    const LoginGate& m_Gate;
};

/// Opens a session for the caller with a challenge and a password, which come encrypted like a secret. The plain
/// password lives while it is checked. On the request thread: few may run at once, and none of them takes a worker.
class Login {
public:
    static constexpr Profile PROFILE{11, "login", Place::REQUEST_THREAD, Role::NONE};

    struct Request {
        std::string m_Cipher;

        std::vector<BoundedText> Texts() const { return {{"the encrypted password", m_Cipher, MAX_CIPHER}}; }
    };
    struct Result {
        std::string m_Key;  // 32 hexadecimal digits, which the session's requests carry
    };

    Login(UserSessions& sessions, LoginGate& gate) : m_Sessions(sessions), m_Gate(gate) {}

    /// \throws ProcessException as SendSecret, NOT_LOGGED_IN, and TRY_LATER
    Result Run(const Request& request, const Caller& caller) const;

private:
    UserSessions& m_Sessions;
    LoginGate& m_Gate;
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
