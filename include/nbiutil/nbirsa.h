/// \file
/// RSA with keys given as DER bytes.
#pragma once

#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

class AutoReleaseString;

/// Encrypts with a public and decrypts with a private RSA key, block by block, with OAEP padding (SHA-1).
/// Keys are PKCS#1 structures in DER; k below is the size of their modulus in bytes.
/// Ownership: nothing is kept; arrays that are handed out belong to the caller.
/// Threads: any, on separate buffers; each call parses a key object of its own.
/// Errors: the results below, and log lines under "nbirsa" with OpenSSL's reason; only a failing allocation
/// throws. The thread's OpenSSL error queue is cleared.
class NBI_EXPORT RsaAlgorithm {
public:
    /// At most k - 42 bytes can be encrypted: a longer input is refused as a whole.
    /// \param[in,out] pOut    released with delete[] if set; on success a new[] array that the caller
    ///                        releases, after a failure null. A null \p pIn or \p pKey or an empty key
    ///                        leave it as it was
    /// \param         pIn     plain bytes; may lie in the old \p pOut
    /// \param[in,out] nLen    bytes at \p pIn; on return bytes at \p pOut, or -1. A key that does not parse
    ///                       leaves both \p nLen and \p pOut as they were
    /// \param         pKey    public key; bytes behind it are ignored, which CheckPublicKey() does not do
    /// \param         nKeyLen bytes at \p pKey
    static void Encrypt(char*& pOut, const char* pIn, long& nLen, const char* pKey, const int& nKeyLen);

    /// Decrypts whole blocks of k bytes, or their hexadecimal text in either letter case: an input of two
    /// blocks or more that consists of hexadecimal digits alone is taken for text.
    /// \param[in,out] pOut    released with delete[] if set, unwiped; on success a new[] array that ends in a
    ///                       zero byte and that the caller wipes and releases, after a failure null. Missing
    ///                       or empty arguments leave it as it was
    /// \param         pIn     cipher text; may lie in the old \p pOut
    /// \param[in,out] nLen    bytes at \p pIn; on return bytes of plain text at \p pOut, or -1. A key that
    ///                        does not parse leaves \p nLen as it was, and \p pOut is an array of that many
    ///                        zeros
    /// \param         pKey    private key
    /// \param         nKeyLen bytes at \p pKey
    static void Decrypt(char*& pOut, const char* pIn, long& nLen, const char* pKey, const int& nKeyLen);

    /// Encrypts the content of \p in and sets \p out to a text of twice the cipher's length, through its
    /// virtual setBuffer(). The text does not carry the cipher: it is zero but for the two hexadecimal digits
    /// of the last cipher byte at positions 4 and 5. Use Encrypt() to send something.
    /// \param[out] out    after a failure as it was
    /// \param      in     the plain bytes
    /// \param      pKey    public key; null: the one of LocalRsaKeyMgr
    /// \param      nKeyLen bytes at \p pKey
    /// \return 1, or 0 when nothing was encrypted. A key that does not parse gives 1 and leaves \p out as it
    ///         was
    static int RsaEncryptByPublicKey(AutoReleaseString& out, const AutoReleaseString& in, const char* pKey,
                                     const int& nKeyLen);

    /// Whether a public key that came from elsewhere can be used: one PKCS#1 structure in DER with nothing
    /// behind it, so that it has one fingerprint; an odd exponent above 1; and an odd modulus of \p nMinBits
    /// to 8,192 bits that is neither a prime nor a multiple of a small one. Whose key it is stays open:
    /// compare fingerprints over another way. Takes milliseconds, and some tenths of a second for the
    /// longest key.
    /// \param der     all bytes of the key
    /// \param nMinBits 2048 is the least that is recommended today
    /// \return false also when memory is short; nothing is logged
    [[nodiscard]] static bool CheckPublicKey(const std::string& der, int nMinBits);
};

}  // namespace NS_UTIL
