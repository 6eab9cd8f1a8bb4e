/// \file
/// What the server's configuration holds in place of a password.
#pragma once

#include <openssl/evp.h>

#include <array>
#include <cstddef>
#include <string>

#include "nbiutil/conversions.h"

namespace northbound {

/// PBKDF2 with SHA-256, as hexadecimal text; the user's name is the salt. Item "Password_<user>" holds it.
inline std::string PasswordDigest(const std::string& user, const char* pPassword, std::size_t nLength)
{
    constexpr int ITERATIONS = 100000;
    std::array<unsigned char, 32> digest{};
    PKCS5_PBKDF2_HMAC(pPassword, static_cast<int>(nLength),
                      reinterpret_cast<const unsigned char*>(user.data()), static_cast<int>(user.size()),
                      ITERATIONS, EVP_sha256(), static_cast<int>(digest.size()), digest.data());
    return NS_UTIL::ByteToHex(digest.data(), static_cast<int>(digest.size()));
}

}  // namespace northbound
