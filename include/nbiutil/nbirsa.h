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
    /// \param[in,out] out    released with delete[] if set; on success a new[] array that the caller
    ///                       releases, after a failure null. A null \p in or \p key or an empty key leave it
    ///                       as it was
    /// \param         in     plain bytes; may lie in the old \p out
    /// \param[in,out] len    bytes at \p in; on return bytes at \p out, or -1. A key that does not parse
    ///                       leaves both \p len and \p out as they were
    /// \param         key    public key; bytes behind it are ignored, which CheckPublicKey() does not do
    /// \param         keyLen bytes at \p key
    static void Encrypt(char*& out, const char* in, long& len, const char* key, const int& keyLen);

    /// Decrypts whole blocks of k bytes, or their hexadecimal text in either letter case: an input of two
    /// blocks or more that consists of hexadecimal digits alone is taken for text.
    /// \param[in,out] out    released with delete[] if set, unwiped; on success a new[] array that ends in a
    ///                       zero byte and that the caller wipes and releases, after a failure null. Missing
    ///                       or empty arguments leave it as it was
    /// \param         in     cipher text; may lie in the old \p out
    /// \param[in,out] len    bytes at \p in; on return bytes of plain text at \p out, or -1. A key that does
    ///                       not parse leaves \p len as it was, and \p out is an array of that many zeros
    /// \param         key    private key
    /// \param         keyLen bytes at \p key
    static void Decrypt(char*& out, const char* in, long& len, const char* key, const int& keyLen);

    /// Encrypts the content of \p in and sets \p out to a text of twice the cipher's length, through its
    /// virtual setBuffer(). The text does not carry the cipher: it is zero but for the two hexadecimal digits
    /// of the last cipher byte at positions 4 and 5. Use Encrypt() to send something.
    /// \param[out] out    after a failure as it was
    /// \param      in     the plain bytes
    /// \param      key    public key; null: the one of LocalRsaKeyMgr
    /// \param      keyLen bytes at \p key
    /// \return 1, or 0 when nothing was encrypted. A key that does not parse gives 1 and leaves \p out as it
    ///         was
    static int RsaEncryptByPublicKey(AutoReleaseString& out, const AutoReleaseString& in, const char* key,
                                     const int& keyLen);

    /// Whether a public key that came from elsewhere can be used: one PKCS#1 structure in DER with nothing
    /// behind it, so that it has one fingerprint; an odd exponent above 1; and an odd modulus of \p minBits to
    /// 8,192 bits that is neither a prime nor a multiple of a small one. Whose key it is stays open: compare
    /// fingerprints over another way. Takes milliseconds, and some tenths of a second for the longest key.
    /// \param der     all bytes of the key
    /// \param minBits 2048 is the least that is recommended today
    /// \return false also when memory is short; nothing is logged
    [[nodiscard]] static bool CheckPublicKey(const std::string& der, int minBits);
};

}  // namespace NS_UTIL
