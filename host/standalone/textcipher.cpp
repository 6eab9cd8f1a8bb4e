#include "textcipher.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <exception>
#include <memory>

#include "processkey.h"

namespace nbihost {
namespace {

constexpr int NONCE_SIZE = 12;
constexpr int TAG_SIZE = 16;
constexpr std::size_t HEAD_SIZE = NONCE_SIZE + TAG_SIZE;
constexpr std::size_t MAX_CIPHER_BYTES = (MAX_PLAIN_BYTES + HEAD_SIZE + 2) / 3 * 4;

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

/// Sets key, nonce and selector, in the direction of \p nEncrypt.
bool Begin(EVP_CIPHER_CTX* pContext, const unsigned char* pKey, const unsigned char* pNonce,
           unsigned int nSelector, int nEncrypt)
{
    const unsigned char selector[] = {
        static_cast<unsigned char>(nSelector >> 24U), static_cast<unsigned char>(nSelector >> 16U),
        static_cast<unsigned char>(nSelector >> 8U), static_cast<unsigned char>(nSelector)};
    int nLength = 0;
    return EVP_CipherInit_ex(pContext, EVP_aes_256_gcm(), nullptr, pKey, pNonce, nEncrypt) == 1 &&
           EVP_CipherUpdate(pContext, nullptr, &nLength, selector, sizeof selector) == 1;
}

const unsigned char* BytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

/// Fills \p sealed, which holds the nonce already.
bool Seal(EVP_CIPHER_CTX* pContext, const unsigned char* pKey, const std::string& plain, Bytes& sealed,
          unsigned int nSelector)
{
    unsigned char* const pNonce = sealed.data();
    unsigned char* const pTag = pNonce + NONCE_SIZE;
    unsigned char* const pText = pNonce + HEAD_SIZE;
    int nLength = 0;
    return Begin(pContext, pKey, pNonce, nSelector, 1) &&
           EVP_CipherUpdate(pContext, pText, &nLength, BytesOf(plain), static_cast<int>(plain.size())) == 1 &&
           EVP_CipherFinal_ex(pContext, pText + nLength, &nLength) == 1 &&
           EVP_CIPHER_CTX_ctrl(pContext, EVP_CTRL_AEAD_GET_TAG, TAG_SIZE, pTag) == 1;
}

/// Fills \p plain, also with text that turns out not to be authentic: the result says so.
bool Open(EVP_CIPHER_CTX* pContext, const unsigned char* pKey, const Bytes& sealed, std::string& plain,
          unsigned int nSelector)
{
    const unsigned char* const pNonce = sealed.data();
    const unsigned char* const pText = pNonce + HEAD_SIZE;
    unsigned char tag[TAG_SIZE];
    sealed.copy(tag, TAG_SIZE, NONCE_SIZE);
    plain.resize(sealed.size() - HEAD_SIZE);
    auto* const pPlain = reinterpret_cast<unsigned char*>(&plain[0]);
    int nLength = 0;
    return Begin(pContext, pKey, pNonce, nSelector, 0) &&
           EVP_CipherUpdate(pContext, pPlain, &nLength, pText, static_cast<int>(plain.size())) == 1 &&
           EVP_CIPHER_CTX_ctrl(pContext, EVP_CTRL_AEAD_SET_TAG, TAG_SIZE, tag) == 1 &&
           EVP_CipherFinal_ex(pContext, pPlain + nLength, &nLength) == 1;
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
    if (text.size() % 4 != 0) return false;
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

CipherResult TryToEncipher(ProcessKey& key, const std::string& plain, Bytes& sealed, unsigned int nSelector)
{
    if (plain.size() > MAX_PLAIN_BYTES) return CIPHER_TOO_LONG;
    const unsigned char* pKey = nullptr;
    if (const CipherResult result = key.Get(pKey); result != CIPHER_DONE) return result;
    if (const CipherResult result = key.CountText(); result != CIPHER_DONE) return result;
    const Context context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (context == nullptr) return CIPHER_NO_MEMORY;
    sealed.assign(HEAD_SIZE + plain.size(), 0);
    if (RAND_bytes(sealed.data(), NONCE_SIZE) != 1) return CIPHER_NO_RANDOM;
    return Seal(context.get(), pKey, plain, sealed, nSelector) ? CIPHER_DONE : CIPHER_FAILED;
}

/// \p plain is not looked at before \p cipher has been read: it may be the same text.
CipherResult TryToDecipher(ProcessKey& key, const std::string& cipher, std::string& plain,
                           unsigned int nSelector)
{
    if (cipher.size() > MAX_CIPHER_BYTES) return CIPHER_TOO_LONG;
    Bytes sealed;
    if (!FromBase64(cipher, sealed)) return CIPHER_FAILED;
    const unsigned char* pKey = nullptr;
    if (const CipherResult result = key.Get(pKey); result != CIPHER_DONE) return result;
    const Context context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (context == nullptr) return CIPHER_NO_MEMORY;
    WipeAndClear(plain);
    return Open(context.get(), pKey, sealed, plain, nSelector) ? CIPHER_DONE : CIPHER_FAILED;
}

}  // namespace

CipherResult Encipher(ProcessKey& key, const std::string& plain, std::string& cipher, unsigned int nSelector)
try {
    const ErrorQueueKeeper keeper;
    Bytes sealed;
    const CipherResult result = TryToEncipher(key, plain, sealed, nSelector);
    cipher = result == CIPHER_DONE ? ToBase64(sealed) : std::string();
    return result;
} catch (const std::exception&) {
    cipher.clear();
    return CIPHER_NO_MEMORY;
}

CipherResult Decipher(ProcessKey& key, const std::string& cipher, std::string& plain, unsigned int nSelector)
try {
    const ErrorQueueKeeper keeper;
    const CipherResult result = TryToDecipher(key, cipher, plain, nSelector);
    if (result != CIPHER_DONE) WipeAndClear(plain);
    return result;
} catch (const std::exception&) {
    WipeAndClear(plain);
    return CIPHER_NO_MEMORY;
}

}  // namespace nbihost
