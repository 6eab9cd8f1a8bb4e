// Preloaded into a test's server, which takes the key pair of the file NBI_READY_KEY instead of making one at its start. Where it
// may not read that file, it makes one.

#include <dlfcn.h>
#include <openssl/pem.h>

#include <cstdio>
#include <memory>

#include "support/copykey.h"

extern "C" __attribute__((visibility("default"))) int RSA_generate_key_ex(RSA* pKey, int nBits,
                                                                          BIGNUM* pExponent,
                                                                          BN_GENCB* pProgress)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen(NBI_READY_KEY, "re"),
                                                                &std::fclose);
    if (pFile == nullptr) {
        const auto pReal =
            reinterpret_cast<decltype(&RSA_generate_key_ex)>(dlsym(RTLD_NEXT, "RSA_generate_key_ex"));
        return pReal(pKey, nBits, pExponent, pProgress);
    }
    const std::unique_ptr<RSA, decltype(&RSA_free)> pReady(
        PEM_read_RSAPrivateKey(pFile.get(), nullptr, nullptr, nullptr), &RSA_free);
    return pReady == nullptr ? 0 : nbitest::CopyKey(pKey, pReady.get());
}
