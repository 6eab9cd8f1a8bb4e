/// \file
/// RSA_generate_key_ex() in front of OpenSSL's own, which takes too long to fail at each of its allocations. Include this in
/// one source of a test program that links nbi_heapwatch and is compiled with OPENSSL_API_COMPAT=0x10101000L.
#pragma once

#include <openssl/rsa.h>

#include <memory>
#include <string>

#include "support/copykey.h"
#include "support/heapwatch.h"

namespace nbitest {

inline const std::string* g_pKeyToMake = nullptr;  // PKCS#1, in DER

/// While it lives, every generated key pair is \p der.
class KeyToMake {
public:
    explicit KeyToMake(const std::string& der) { g_pKeyToMake = &der; }
    ~KeyToMake() { g_pKeyToMake = nullptr; }
    KeyToMake(const KeyToMake&) = delete;
    KeyToMake& operator=(const KeyToMake&) = delete;
};

}  // namespace nbitest

/// In front of OpenSSL's own, which takes too long to fail at each of its allocations.
// NOLINTNEXTLINE(misc-definitions-in-headers): in one source of a program
extern "C" __attribute__((visibility("default"))) int RSA_generate_key_ex(RSA* pKey, int, BIGNUM*, BN_GENCB*)
{
    const nbitest::WorkingAllocations working;
    const auto* pNext = reinterpret_cast<const unsigned char*>(nbitest::g_pKeyToMake->data());
    const std::unique_ptr<RSA, decltype(&RSA_free)> pFrom(
        d2i_RSAPrivateKey(nullptr, &pNext, static_cast<long>(nbitest::g_pKeyToMake->size())), &RSA_free);
    return nbitest::CopyKey(pKey, pFrom.get());
}
