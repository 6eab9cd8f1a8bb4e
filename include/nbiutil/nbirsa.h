/// \file
/// RSA with keys given as DER bytes.
#pragma once

#include "nbiutil/export.h"

namespace NS_UTIL {

class AutoReleaseString;

/// Encrypts with a public and decrypts with a private RSA key, block by block, with OAEP padding (SHA-1).
/// Keys are PKCS#1 structures in DER; k below is the size of their modulus in bytes.
/// Threads: any, on separate buffers; each call parses a key object of its own.
/// Errors: log lines under "nbirsa" and the results below; only a failing allocation throws. The thread's
/// OpenSSL error queue is cleared.
class NBI_EXPORT RsaAlgorithm {
public:
    /// At most k - 42 bytes can be encrypted: a longer input is refused as a whole.
    /// \param[in,out] out released with delete[] if set; on success a new[] array that the caller releases,
    ///                    after a failure null. A null \p in or \p key or an empty key leave it as it was.
    /// \param[in,out] len bytes at \p in; on return bytes at \p out, or -1. A key that does not parse
    ///                    leaves both \p len and \p out as they were.
    /// \param         key public key, \p keyLen bytes.
    static void Encrypt(char*& out, const char* in, long& len, const char* key, const int& keyLen);

    /// Decrypts whole blocks of k bytes, or their hexadecimal text in either letter case: an input of two
    /// blocks or more that consists of hexadecimal digits alone is taken for text.
    /// \param[in,out] out released with delete[] if set; on success a new[] array that the caller releases,
    ///                    zero-terminated and to be wiped by whoever knows it for a secret; after a failure
    ///                    null. Missing or empty arguments leave it as it was.
    /// \param[in,out] len bytes at \p in; on return bytes of plain text at \p out, or -1. A key that does not
    ///                    parse leaves \p len as it was, and \p out is then an array of that many zeros.
    /// \param         key private key, \p keyLen bytes.
    static void Decrypt(char*& out, const char* in, long& len, const char* key, const int& keyLen);

    /// Encrypts the content of \p in and sets \p out to a text of twice the cipher's length, through its
    /// virtual setBuffer(). The text does not carry the cipher: it is zero but for the two hexadecimal digits
    /// of the last cipher byte at positions 4 and 5. Use Encrypt() to send something.
    /// \param key public key, \p keyLen bytes; null: the one of LocalRsaKeyMgr.
    /// \return 1, or 0 when nothing was encrypted. A key that does not parse gives 1 and leaves \p out as it
    ///         was.
    static int RsaEncryptByPublicKey(AutoReleaseString& out, const AutoReleaseString& in, const char* key,
                                     const int& keyLen);
};

}  // namespace NS_UTIL
