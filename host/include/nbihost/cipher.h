/// \file
/// The host's platform cipher.
#pragma once

#include <string>

#include "nbihost/api.h"

/// Symmetric cipher from text to text. The selector picks key and mode; both belong to the host.
/// Threads: any.
class NBIHOST_API tavoAESCipher {
public:
    /// \param[out] cipher a text without zero bytes; empty after a failure.
    /// \return 0 on success.
    static int encryptEx(const std::string& plain, std::string& cipher, unsigned int nSelector);

    /// \param[out] plain empty after a failure.
    /// \return 0 on success; text that was not made by encryptEx() under the same selector is refused.
    static int decryptEx(const std::string& cipher, std::string& plain, unsigned int nSelector);
};
