/// \file
/// AES-256-GCM from text to text. A cipher text is base64 of nonce, tag and enciphered bytes; the selector is
/// authenticated with it, so that text made under one selector is refused under another.
#pragma once

#include <cstddef>
#include <string>

#include "nbihost/standalone.h"

namespace nbihost {

class ProcessKey;

/// The longest plain text that is enciphered.
constexpr std::size_t MAX_PLAIN_BYTES = std::size_t{64} << 20;

/// Both take back what OpenSSL reports meanwhile, throw nothing and leave an empty text behind a failure; the
/// two texts may be one object. Threads: any.
CipherResult Encipher(ProcessKey& key, const std::string& plain, std::string& cipher, unsigned int nSelector);
CipherResult Decipher(ProcessKey& key, const std::string& cipher, std::string& plain, unsigned int nSelector);

}  // namespace nbihost
