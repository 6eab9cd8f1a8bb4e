/// \file
/// What only a private RSA key holds.
#pragma once

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace nbitest {

/// Parts of the private exponent and of both primes of the PKCS#1 key \p der, as its encoding and as
/// OpenSSL's numbers hold them, with \p more behind.
inline std::vector<std::string> PrivateNeedles(const std::string& der, std::vector<std::string> more = {})
{
    constexpr std::size_t PART = 24;
    const auto* pNext = reinterpret_cast<const unsigned char*>(der.data());
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pKey(
        d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &pNext, static_cast<long>(der.size())), &EVP_PKEY_free);
    for (const char* pName :
         {OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1, OSSL_PKEY_PARAM_RSA_FACTOR2}) {
        BIGNUM* pNumber = nullptr;
        if (EVP_PKEY_get_bn_param(pKey.get(), pName, &pNumber) != 1) throw std::runtime_error("no such key");
        std::string bytes(static_cast<std::size_t>(BN_num_bytes(pNumber)), '\0');
        BN_bn2bin(pNumber, reinterpret_cast<unsigned char*>(&bytes[0]));
        BN_clear_free(pNumber);
        std::string needle = bytes.substr(bytes.size() / 2, PART);
        more.push_back(needle);
        std::reverse(needle.begin(), needle.end());
        more.push_back(needle);
    }
    return more;
}

}  // namespace nbitest
