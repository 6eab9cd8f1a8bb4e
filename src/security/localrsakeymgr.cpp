#include "nbiutil/localrsakeymgr.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/singleton.h"
#include "base/wipe.h"
#include "base/wipedtext.h"
#include "base/zeroedarray.h"
#include "log/log.h"
#include "nbihost/annexk.h"
#include "nbihost/cipher.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"
#include "security/openssl.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "localrsakeymgr";
constexpr SourceMark KEY_NOT_MADE{MODULE, 121};
constexpr SourceMark KEY_NOT_ENCIPHERED{MODULE, 155};
constexpr SourceMark PUBLIC_KEY_NOT_PARSED{MODULE, 203};
constexpr SourceMark NO_PUBLIC_KEY{MODULE, 212};
constexpr SourceMark PRIVATE_KEY_NOT_PARSED{MODULE, 225};
constexpr SourceMark NO_PRIVATE_KEY{MODULE, 237};

constexpr int KEY_BITS = 2048;
constexpr unsigned int CIPHER_SELECTOR = 19;  // key and mode of the host's cipher
constexpr std::size_t DER_ROOM = 2048;        // a private key of KEY_BITS takes about 1,200

constexpr const char* DIGITS = "0123456789abcdef";

struct BignumDeleter {
    void operator()(BIGNUM* pNumber) const { BN_free(pNumber); }
};

/// Zeroed room for the DER form of a key, wiped when it goes.
struct DerRoom {
    std::array<unsigned char, DER_ROOM> m_Bytes{};
    const WipeAtEnd m_Wipe{m_Bytes.data(), m_Bytes.size()};
};

/// A new key pair, or null; logs the failure.
RsaPtr MakeKeyPair()
{
    const std::unique_ptr<BIGNUM, BignumDeleter> pExponent(BN_new());
    RsaPtr pKey(RSA_new());
    ERR_clear_error();
    int nResult = 0;
    if (pKey != nullptr && pExponent != nullptr && BN_set_word(pExponent.get(), RSA_F4) == 1) {
        nResult = RSA_generate_key_ex(pKey.get(), KEY_BITS, pExponent.get(), nullptr);
    }
    if (nResult == 1) return pKey;
    WriteLog(KEY_NOT_MADE,
             "[LocalRsaKeyMgr::CheckLocalRsaKey] Call d2i_RSAPublicKey failed, get public rsa obj is "
             "null,error:%s, res<%d>",
             TakeErrorText(), nResult);
    return nullptr;
}

/// Copies a text and a zero byte into a new array.
std::unique_ptr<char[]> CopyOf(const char* pText, std::size_t nLength)
{
    std::unique_ptr<char[]> pCopy = ZeroedArray(nLength + 1);
    if (memcpy_s(pCopy.get(), nLength + 1, pText, nLength) != 0) WriteLog(Here(MODULE), "memcpy_s failed.");
    return pCopy;
}

std::unique_ptr<char[]> EncodePublicKey(const RSA* pKey, int& nLength)
{
    DerRoom room;
    unsigned char* pNext = room.m_Bytes.data();
    nLength = std::max(i2d_RSAPublicKey(pKey, &pNext), 0);
    return CopyOf(reinterpret_cast<const char*>(room.m_Bytes.data()), static_cast<std::size_t>(nLength));
}

/// The private key as the host cipher's text. Deliberate: a cipher that fails is only logged, and what it
/// gave is stored. CheckLocalRsaKey() reports the failure, and callers match its line.
std::string EncipherPrivateKey(const RSA* pKey)
{
    DerRoom room;
    unsigned char* pNext = room.m_Bytes.data();
    const int nLength = std::max(i2d_RSAPrivateKey(pKey, &pNext), 0);
    WipedText plain;
    plain.m_Text.assign(reinterpret_cast<const char*>(room.m_Bytes.data()),
                        static_cast<std::size_t>(nLength));
    std::string cipher;
    ERR_clear_error();
    const int nResult = tavoAESCipher::encryptEx(plain.m_Text, cipher, CIPHER_SELECTOR);
    if (nResult != 0) {
        WriteLog(KEY_NOT_ENCIPHERED,
                 "[LocalRsaKeyMgr::CheckLocalRsaKey] Call encrypt failed, Call encrypt Fail. ErrCode=:%s, "
                 "res<%d>",
                 TakeErrorText(), nResult);
    }
    return cipher;
}

}  // namespace

std::atomic<LocalRsaKeyMgr*> LocalRsaKeyMgr::m_pInstance{nullptr};

LocalRsaKeyMgr* LocalRsaKeyMgr::Instance()
{
    return InstanceIn(m_pInstance, [] { return new LocalRsaKeyMgr; });
}

void LocalRsaKeyMgr::Destroy()
{
    DestroyIn(m_pInstance, [](LocalRsaKeyMgr* pManager) { delete pManager; });
}

int LocalRsaKeyMgr::Init()
{
    OPENSSL_init_ssl(0, nullptr);
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
    OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr);
    return RsaKeyPairGen();
}

int LocalRsaKeyMgr::RsaKeyPairGen()
{
    if (m_pPrivateKey != nullptr) return CheckLocalRsaKey();  // it is set last: there is a public one, too
    m_pPublicKey.reset();
    m_nPublicKeyLen = 0;

    RsaPtr pKey = MakeKeyPair();
    if (pKey == nullptr) return 0;
    m_pPublicKey = EncodePublicKey(pKey.get(), m_nPublicKeyLen);
    const std::string cipher = EncipherPrivateKey(pKey.get());
    m_pPrivateKey = CopyOf(cipher.data(), cipher.size());
    m_nPrivateKeyLen = static_cast<int>(cipher.size());
    pKey.reset();  // gone before the check, which brings a plain key of its own
    return CheckLocalRsaKey();
}

int LocalRsaKeyMgr::CheckLocalRsaKey()
{
    int nResult = 0;
    if (m_pPublicKey == nullptr) {
        WriteLog(NO_PUBLIC_KEY, "[LocalRsaKeyMgr::CheckLocalRsaKey] public key is null");
    } else if (ParsePublicKey(m_pPublicKey.get(), m_nPublicKeyLen) != nullptr) {
        nResult = 1;
    } else {
        WriteLog(PUBLIC_KEY_NOT_PARSED,
                 "[LocalRsaKeyMgr::CheckLocalRsaKey] Call d2i_RSAPublicKey failed, get public rsa obj is "
                 "null,error:%s",
                 TakeErrorText());
    }
    if (m_pPrivateKey == nullptr) {
        WriteLog(NO_PRIVATE_KEY, "[LocalRsaKeyMgr::CheckLocalRsaKey] private key is null");
        return 0;
    }
    WipedText plain;
    tavoAESCipher::decryptEx(m_pPrivateKey.get(), plain.m_Text, CIPHER_SELECTOR);
    const RsaPtr pKey = ParsePrivateKey(plain.m_Text.data(), static_cast<long>(plain.m_Text.size()));
    if (pKey != nullptr) return nResult;
    WriteLog(PRIVATE_KEY_NOT_PARSED,
             "[LocalRsaKeyMgr::CheckLocalRsaKey] Call d2i_RSAPrivateKey failed, get private rsa obj is "
             "null,error:%s",
             TakeErrorText());
    return 0;
}

int LocalRsaKeyMgr::DecryptByLocalRsaKey(AutoReleaseString& out, const char* pIn, long nLen) const
{
    if (m_pPrivateKey == nullptr) {
        WriteLog(Here(MODULE), "[LocalRsaKeyMgr::DecryptByLocalRsaKey] private key is null");
        return 0;
    }
    WipedText key;
    tavoAESCipher::decryptEx(m_pPrivateKey.get(), key.m_Text, CIPHER_SELECTOR);
    char* pDecrypted = nullptr;
    long nLength = nLen;
    RsaAlgorithm::Decrypt(pDecrypted, pIn, nLength, key.m_Text.data(), static_cast<int>(key.m_Text.size()));
    const WipedArray pPlain(pDecrypted, WipingDelete{static_cast<std::size_t>(std::max(nLength, 0L))});
    // A plain text is always shorter than its cipher text: as many bytes mean that the key did not parse.
    if (nLength < 0 || nLength >= nLen) return 0;
    return out.setBuffer(pPlain.get(), static_cast<unsigned int>(nLength)) == 0 ? 1 : 0;
}

std::string LocalRsaKeyMgr::GetLocalRsaPublicKeyFingerprint() const
{
    if (m_pPublicKey == nullptr) return std::string();
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int nLength = 0;
    EVP_Digest(m_pPublicKey.get(), static_cast<std::size_t>(m_nPublicKeyLen), digest, &nLength, EVP_sha256(),
               nullptr);
    std::string text;
    for (const unsigned char* pByte = digest; pByte < digest + nLength; ++pByte) {
        text += DIGITS[*pByte / 16];
        text += DIGITS[*pByte % 16];
    }
    return text;
}

}  // namespace NS_UTIL
