/// \file
/// The process's own RSA key pair.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

class AutoReleaseString;

/// An RSA key pair of 2048 bits with exponent 65537, made in memory by Init() and gone with the process. The
/// public key is held in plain DER; the private one only as the host cipher's text, and never written
/// anywhere. Whoever wants a new pair calls Destroy() and Init() while nobody else uses the old one.
/// Ownership: one per process, from the first Instance() to Destroy(); callers never delete it.
/// Threads: Init() and RsaKeyPairGen() run once, before other threads use the rest, which does not lock.
/// Errors: log lines under "localrsakeymgr" and result 0; only a failing allocation throws. The thread's
/// OpenSSL error queue is cleared.
class NBI_EXPORT LocalRsaKeyMgr {
public:
    /// Null only when there is no object yet and the static-object lock cannot be taken.
    static LocalRsaKeyMgr* Instance();
    /// The key pair is lost.
    static void Destroy();
    LocalRsaKeyMgr(const LocalRsaKeyMgr&) = delete;
    LocalRsaKeyMgr& operator=(const LocalRsaKeyMgr&) = delete;

    /// Initialises OpenSSL and makes the key pair, unless there is one.
    /// \return as RsaKeyPairGen()
    int Init();

    /// Makes the key pair, unless there is one.
    /// \return as CheckLocalRsaKey()
    int RsaKeyPairGen();

    /// Decodes both keys; the private one is in memory in plain only while this runs.
    /// \return 1 when both are there and can be decoded, else 0
    int CheckLocalRsaKey();

    /// The public key as a PKCS#1 structure in DER, and a zero byte.
    /// \return null before there is one; lives as long as this object
    const char* GetLocalRsaPublicKey() const { return m_pPublicKey.get(); }

    /// \return bytes of the public key, the zero byte not counted; 0 before there is one
    int GetLocalRsaPublicKeyLen() { return m_nPublicKeyLen; }

    /// Decrypts what was encrypted with the public key: RsaAlgorithm::Decrypt() with the private key, which
    /// is in memory in plain only while this runs. Threads: any, once there is a key pair.
    /// \param[out] out the plain bytes; after a failure as it was
    /// \param      pIn  cipher text, raw or as hexadecimal text
    /// \param      nLen bytes at \p pIn; whoever takes cipher text from elsewhere bounds it
    /// \return 1, or 0 when there is no key or the cipher text is not for it
    [[nodiscard]] int DecryptByLocalRsaKey(AutoReleaseString& out, const char* pIn, long nLen) const;

    /// What people compare to know that a public key is this process's: SHA-256 over its DER, in lower-case
    /// hexadecimal, as sha256sum prints it. Threads: any, once there is a key pair.
    /// \return 64 digits; empty before there is a key
    [[nodiscard]] std::string GetLocalRsaPublicKeyFingerprint() const;

private:
    LocalRsaKeyMgr() = default;
    ~LocalRsaKeyMgr() = default;

    static std::atomic<LocalRsaKeyMgr*> m_pInstance;
    // Deliberate: not wiped at the end. One is public, the other is cipher text.
    std::unique_ptr<char[]> m_pPublicKey;  // and a zero byte
    int m_nPublicKeyLen = 0;
    std::unique_ptr<char[]> m_pPrivateKey;  // cipher text and a zero byte; an empty text counts as held
    int m_nPrivateKeyLen = 0;
};

}  // namespace NS_UTIL
