/// \file
/// A random generator that fails. RAND_METHOD belongs to the interface of OpenSSL 1.1: a test that includes this
/// is compiled with OPENSSL_API_COMPAT=0x10101000L.
#pragma once

#include <openssl/err.h>
#include <openssl/rand.h>

namespace nbitest {

/// While it lives, OpenSSL gets no random bytes, and the error queue says ERR_R_INTERNAL_ERROR. One at a time.
class NoRandomBytes {
public:
    using Fails = bool (*)(int nBytes);

    /// \param fails which requests do
    explicit NoRandomBytes(Fails fails = [](int) { return true; })
    {
        s_pOld = RAND_get_rand_method();
        s_Fails = fails;
        static const RAND_METHOD failing{nullptr, &Fill, nullptr, nullptr, &Fill, nullptr};
        RAND_set_rand_method(&failing);
    }
    ~NoRandomBytes() { RAND_set_rand_method(s_pOld); }
    NoRandomBytes(const NoRandomBytes&) = delete;
    NoRandomBytes& operator=(const NoRandomBytes&) = delete;

private:
    static int Fill(unsigned char* pBytes, int nBytes)
    {
        if (!s_Fails(nBytes)) return s_pOld->bytes(pBytes, nBytes);
        ERR_raise(ERR_LIB_USER, ERR_R_INTERNAL_ERROR);
        return 0;
    }
    inline static const RAND_METHOD* s_pOld = nullptr;
    inline static Fails s_Fails = nullptr;
};

}  // namespace nbitest
