/// \file
/// What the sources with RSA keys share of OpenSSL.
#pragma once

#include <openssl/err.h>
#include <openssl/rsa.h>

#include <memory>

namespace NS_UTIL {

struct RsaDeleter {
    void operator()(RSA* pKey) const { RSA_free(pKey); }
};
using RsaPtr = std::unique_ptr<RSA, RsaDeleter>;

inline const unsigned char* AsBytes(const char* pChars)
{
    return reinterpret_cast<const unsigned char*>(pChars);
}

inline unsigned char* AsBytes(char* pChars)
{
    return reinterpret_cast<unsigned char*>(pChars);
}

/// Keys from their PKCS#1 DER form; null when it is not one, and TakeErrorText() then says why.
inline RsaPtr ParsePublicKey(const char* pDer, long nLength)
{
    ERR_clear_error();
    const unsigned char* pNext = AsBytes(pDer);  // OpenSSL moves it
    return RsaPtr(d2i_RSAPublicKey(nullptr, &pNext, nLength));
}

inline RsaPtr ParsePrivateKey(const char* pDer, long nLength)
{
    ERR_clear_error();
    const unsigned char* pNext = AsBytes(pDer);
    return RsaPtr(d2i_RSAPrivateKey(nullptr, &pNext, nLength));
}

/// The reason of the first failure since the thread's error queue was last cleared; empty without one. Leaves
/// the queue clean, so that nobody takes the rest for a failure of his own.
inline const char* TakeErrorText()
{
    const char* const pReason = ERR_reason_error_string(ERR_get_error());
    ERR_clear_error();
    return pReason == nullptr ? "" : pReason;
}

}  // namespace NS_UTIL
