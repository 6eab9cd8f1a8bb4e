/// \file
/// The form in which an encrypted secret travels.
#pragma once

#include <string>

namespace northbound {

/// Size of the server's RSA key.
constexpr unsigned int KEY_BYTES = 256;
/// What OAEP with SHA-1 leaves of it for a secret.
constexpr unsigned int MAX_SECRET = KEY_BYTES - 42;

/// Characters of the challenge that stands in front of the password in what a login encrypts.
constexpr unsigned int LOGIN_CHALLENGE = 56;
constexpr unsigned int MAX_PASSWORD = MAX_SECRET - LOGIN_CHALLENGE;

/// What keeps \p text from being the hexadecimal text of one block under that key; "" when nothing does.
inline std::string CipherTextFault(const std::string& text)
{
    const std::size_t nStray = text.find_first_not_of("0123456789abcdefABCDEF");
    if (nStray != std::string::npos) {
        return "character " + std::to_string(nStray + 1) + " is no hexadecimal digit";
    }
    if (text.size() == 2 * KEY_BYTES) return "";
    return std::to_string(text.size()) + " hexadecimal digits instead of " + std::to_string(2 * KEY_BYTES);
}

}  // namespace northbound
