/// \file
/// A key pair for a RSA_generate_key_ex() in front of OpenSSL's own. Compile with OPENSSL_API_COMPAT=0x10101000L.
#pragma once

#include <openssl/rsa.h>

namespace nbitest {

/// \return 1, or 0 for a failure, as RSA_generate_key_ex() does
inline int CopyKey(RSA* pTo, const RSA* pFrom)
{
    const auto Copy = [pFrom](auto get) { return BN_dup(get(pFrom)); };
    return RSA_set0_key(pTo, Copy(RSA_get0_n), Copy(RSA_get0_e), Copy(RSA_get0_d)) &
           RSA_set0_factors(pTo, Copy(RSA_get0_p), Copy(RSA_get0_q)) &
           RSA_set0_crt_params(pTo, Copy(RSA_get0_dmp1), Copy(RSA_get0_dmq1), Copy(RSA_get0_iqmp));
}

}  // namespace nbitest
