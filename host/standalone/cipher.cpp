// AES-256-GCM. A cipher text is base64 of nonce, tag and enciphered bytes; the selector is authenticated with
// it, so that text made under one selector is refused under another.
#include "nbihost/cipher.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <exception>
#include <memory>

namespace {

constexpr int FAILED = 1;
constexpr int KEY_SIZE = 32;
constexpr int NONCE_SIZE = 12;
constexpr int TAG_SIZE = 16;
constexpr std::size_t HEAD_SIZE = NONCE_SIZE + TAG_SIZE;
constexpr std::size_t MAX_PLAIN = std::size_t{1} << 30;  // OpenSSL counts bytes, base64 included, in an int

using Bytes = std::basic_string<unsigned char>;
using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

/// Takes back what OpenSSL reports while it lives: the queue belongs to the caller.
class ErrorQueueKeeper {
public:
    ErrorQueueKeeper() { ERR_set_mark(); }
    ~ErrorQueueKeeper() { ERR_pop_to_mark(); }
    ErrorQueueKeeper(const ErrorQueueKeeper&) = delete;
    ErrorQueueKeeper& operator=(const ErrorQueueKeeper&) = delete;
};

/// The key of this process, made at the first use and kept nowhere else.
struct ProcessKey {
    ProcessKey() : m_bMade(RAND_priv_bytes(m_Bytes, KEY_SIZE) == 1) {}
    unsigned char m_Bytes[KEY_SIZE];
    bool m_bMade;
};

/// Null when the random generator fails. Deliberate: never deleted, since late threads may still decipher.
const unsigned char* Key()
{
    static const auto* pKey = new ProcessKey;
    return pKey->m_bMade ? pKey->m_Bytes : nullptr;
}

/// Sets key, nonce and selector, in the direction of \p nEncrypt.
bool Begin(EVP_CIPHER_CTX* pContext, const unsigned char* pNonce, unsigned int nSelector, int nEncrypt)
{
    const unsigned char selector[] = {
        static_cast<unsigned char>(nSelector >> 24U), static_cast<unsigned char>(nSelector >> 16U),
        static_cast<unsigned char>(nSelector >> 8U), static_cast<unsigned char>(nSelector)};
    int nLength = 0;
    return pContext != nullptr && Key() != nullptr &&
           EVP_CipherInit_ex(pContext, EVP_aes_256_gcm(), nullptr, Key(), pNonce, nEncrypt) == 1 &&
           EVP_CipherUpdate(pContext, nullptr, &nLength, selector, sizeof selector) == 1;
}

const unsigned char* BytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

bool Encipher(const std::string& plain, Bytes& sealed, unsigned int nSelector)
{
    sealed.assign(HEAD_SIZE + plain.size(), 0);
    unsigned char* const pNonce = sealed.data();
    unsigned char* const pTag = pNonce + NONCE_SIZE;
    unsigned char* const pText = pNonce + HEAD_SIZE;
    const Context context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    int nLength = 0;
    return RAND_bytes(pNonce, NONCE_SIZE) == 1 && Begin(context.get(), pNonce, nSelector, 1) &&
           EVP_CipherUpdate(context.get(), pText, &nLength, BytesOf(plain), static_cast<int>(plain.size())) ==
               1 &&
           EVP_CipherFinal_ex(context.get(), pText + nLength, &nLength) == 1 &&
           EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, TAG_SIZE, pTag) == 1;
}

bool Decipher(const Bytes& sealed, std::string& plain, unsigned int nSelector)
{
    const unsigned char* const pNonce = sealed.data();
    const unsigned char* const pText = pNonce + HEAD_SIZE;
    unsigned char tag[TAG_SIZE];
    sealed.copy(tag, TAG_SIZE, NONCE_SIZE);
    plain.resize(sealed.size() - HEAD_SIZE);
    auto* const pPlain = reinterpret_cast<unsigned char*>(&plain[0]);
    const Context context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    int nLength = 0;
    return Begin(context.get(), pNonce, nSelector, 0) &&
           EVP_CipherUpdate(context.get(), pPlain, &nLength, pText, static_cast<int>(plain.size())) == 1 &&
           EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, TAG_SIZE, tag) == 1 &&
           EVP_CipherFinal_ex(context.get(), pPlain + nLength, &nLength) == 1;
}

std::string ToBase64(const Bytes& bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // one more: OpenSSL adds a zero
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]), bytes.data(), static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

/// Refuses every text but the one that ToBase64() gives, blanks and spare bits included.
bool FromBase64(const std::string& text, Bytes& bytes)
{
    if (text.size() % 4 != 0 || text.size() > (MAX_PLAIN + HEAD_SIZE + 2) / 3 * 4) return false;
    bytes.assign(text.size() / 4 * 3, 0);
    if (EVP_DecodeBlock(bytes.data(), BytesOf(text), static_cast<int>(text.size())) < 0) return false;
    const std::size_t nLast = text.find_last_not_of('=');
    if (nLast == std::string::npos || text.size() - nLast > 3) return false;
    bytes.resize(bytes.size() - (text.size() - 1 - nLast));
    return bytes.size() >= HEAD_SIZE && ToBase64(bytes) == text;
}

void WipeAndClear(std::string& text)
{
    OPENSSL_cleanse(&text[0], text.size());
    text.clear();
}

}  // namespace

int tavoAESCipher::encryptEx(const std::string& plain, std::string& cipher, unsigned int nSelector)
try {
    const ErrorQueueKeeper keeper;
    Bytes sealed;
    const bool bDone = plain.size() <= MAX_PLAIN && Encipher(plain, sealed, nSelector);
    cipher = bDone ? ToBase64(sealed) : std::string();
    return bDone ? 0 : FAILED;
} catch (const std::exception&) {
    cipher.clear();
    return FAILED;
}

int tavoAESCipher::decryptEx(const std::string& cipher, std::string& plain, unsigned int nSelector)
try {
    const ErrorQueueKeeper keeper;
    Bytes sealed;
    const bool bReadable = FromBase64(cipher, sealed);
    WipeAndClear(plain);  // from here on cipher is not read: it may be the same text
    if (bReadable && Decipher(sealed, plain, nSelector)) return 0;
    WipeAndClear(plain);
    return FAILED;
} catch (const std::exception&) {
    WipeAndClear(plain);
    return FAILED;
}
