#include "nbiutil/nbirsa.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "base/zeroedarray.h"
#include "log/log.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/securebuffer.h"
#include "security/autoreleasestrex.h"
#include "security/openssl.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "nbirsa";
constexpr SourceMark PUBLIC_KEY_NOT_PARSED{MODULE, 269};
constexpr SourceMark NO_OUTPUT_SIZE{MODULE, 286};
constexpr SourceMark BLOCK_NOT_ENCRYPTED{MODULE, 313};
constexpr SourceMark PRIVATE_KEY_NOT_PARSED{MODULE, 374};
constexpr SourceMark BLOCK_NOT_DECRYPTED{MODULE, 406};

constexpr long FAILED = -1;

/// Deliberate: one byte less than OAEP with SHA-1 takes of a block. A full chunk is therefore refused by
/// OpenSSL, and callers count on inputs beyond one block being refused as a whole.
constexpr int PADDING_SHARE = 41;

/// Bytes of cipher text to make room for; not positive when there are too many, or too few in the key.
int CipherSize(long nLength, int nKeySize)
{
    const long nChunk = nKeySize - PADDING_SHARE;
    if (nChunk <= 0) return 0;
    if (nLength <= nChunk) return nKeySize;
    const auto nBlocks = static_cast<std::uint32_t>(nLength / nChunk + 1);
    // A size that wraps around is harmless where it stays positive: the first full chunk is refused.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(nKeySize) * nBlocks);
}

/// One block: an input beyond one is refused with its first, full chunk.
/// \return false when OpenSSL refuses it, or for a negative length, which it must not see; the thread's error
///         queue says why.
bool EncryptBlock(char* pOut, const char* pIn, long nLength, RSA* pRsa)
{
    if (nLength < 0) {
        ERR_raise(ERR_LIB_RSA, RSA_R_INVALID_MESSAGE_LENGTH);
        return false;
    }
    const long nBytes = std::min<long>(nLength, RSA_size(pRsa) - PADDING_SHARE);
    return RSA_public_encrypt(static_cast<int>(nBytes), AsBytes(pIn), AsBytes(pOut), pRsa,
                              RSA_PKCS1_OAEP_PADDING) >= 0;
}

/// Cipher text of which a part has been decrypted.
struct CipherInput {
    const char* m_pNext;
    long m_nLeft;
};

/// Decrypts \p input block by block, as far as it goes. \p pOut has room for its bytes and for k.
/// \return bytes of plain text, or FAILED, and the thread's error queue says why. A rest shorter than a block
///         is a failure that OpenSSL must not see: it would read a whole block.
long DecryptBlocks(char* pOut, CipherInput& input, long nBlock, RSA* pRsa)
{
    const char* const pStart = pOut;
    do {
        ERR_clear_error();  // of whatever a release of OpenSSL leaves behind a block that went well
        if (nBlock < 1 || input.m_nLeft < nBlock) {
            ERR_raise(ERR_LIB_RSA, RSA_R_DATA_TOO_SMALL);
            return FAILED;
        }
        const int nWritten = RSA_private_decrypt(static_cast<int>(nBlock), AsBytes(input.m_pNext),
                                                 AsBytes(pOut), pRsa, RSA_PKCS1_OAEP_PADDING);
        if (nWritten < 0) return FAILED;
        pOut += nWritten;
        input.m_pNext += nBlock;
        input.m_nLeft -= nBlock;
    } while (input.m_nLeft > 0);
    return pOut - pStart;
}

// A longer modulus makes the check of its numbers a matter of seconds.
constexpr int MAX_PUBLIC_BITS = 8192;
constexpr std::size_t MAX_PUBLIC_DER =
    4096;  // a modulus and an exponent of that length, and what is around them

struct KeyDeleter {
    void operator()(EVP_PKEY* pRsa) const { EVP_PKEY_free(pRsa); }
    void operator()(EVP_PKEY_CTX* pContext) const { EVP_PKEY_CTX_free(pContext); }
    void operator()(unsigned char* pDer) const { OPENSSL_free(pDer); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, KeyDeleter>;

/// False where \p der has bytes behind the key, or spells it in another way than DER does.
bool IsEncodingOf(const std::string& der, EVP_PKEY* pRsa)
{
    unsigned char* pMade = nullptr;
    const int nLength = i2d_PublicKey(pRsa, &pMade);
    const std::unique_ptr<unsigned char, KeyDeleter> pOwner(pMade);
    return nLength > 0 && der.compare(0, std::string::npos, reinterpret_cast<const char*>(pMade),
                                      static_cast<std::size_t>(nLength)) == 0;
}

bool HasSoundNumbers(EVP_PKEY* pRsa)
{
    const std::unique_ptr<EVP_PKEY_CTX, KeyDeleter> pContext(
        EVP_PKEY_CTX_new_from_pkey(nullptr, pRsa, nullptr));
    return pContext != nullptr && EVP_PKEY_public_check(pContext.get()) == 1;
}

/// Logs the failing block. \p scratch holds the input from then on, in the form that toHex() gives it, which
/// reports bounds-checked functions that do not work; the cipher text itself stays out of the log.
void ReportRefusedBlock(AutoReleaseStrEx& scratch, const CipherInput& input)
{
    const char* const pReason = TakeErrorText();
    if (scratch.getBuffer() == nullptr) scratch.setBuffer(input.m_pNext, input.m_nLeft);
    WriteLog(BLOCK_NOT_DECRYPTED, "[LocalRsaKeyMgr::RSA_private_decrypt] Call RSA_public_encrypt error:%s",
             pReason);
    scratch.toHex();
}

}  // namespace

void RsaAlgorithm::Encrypt(char*& pOut, const char* pIn, long& nLen, const char* pKey, const int& nKeyLen)
{
    if (pIn == nullptr || pKey == nullptr || nKeyLen < 1) {
        nLen = FAILED;
        return;
    }
    const RsaPtr pRsa = ParsePublicKey(pKey, nKeyLen);
    if (pRsa == nullptr) {
        WriteLog(PUBLIC_KEY_NOT_PARSED,
                 "[LocalRsaKeyMgr::RsaEncryptByPublicKey] Call d2i_RSAPublicKey failed, get rsa obj is "
                 "null,error:%s",
                 TakeErrorText());
        return;
    }
    const std::unique_ptr<char[]> pOld(std::exchange(pOut, nullptr));  // until the end: in may lie in it
    const int nSize = CipherSize(nLen, RSA_size(pRsa.get()));
    if (nSize <= 0) {
        WriteLog(NO_OUTPUT_SIZE, "[LocalRsaKeyMgr::RsaEncryptByPublicKey] buf len less then zero <%d> error",
                 nSize);
        nLen = FAILED;
        return;
    }
    std::unique_ptr<char[]> pCipher = ZeroedArray(static_cast<std::size_t>(nSize));
    if (!EncryptBlock(pCipher.get(), pIn, nLen, pRsa.get())) {
        WriteLog(BLOCK_NOT_ENCRYPTED,
                 "[LocalRsaKeyMgr::RsaEncryptByPublicKey] Call RSA_public_encrypt error:%s", TakeErrorText());
        nLen = FAILED;
        return;
    }
    pOut = pCipher.release();
    nLen = nSize;
}

void RsaAlgorithm::Decrypt(char*& pOut, const char* pIn, long& nLen, const char* pKey, const int& nKeyLen)
{
    if (pIn == nullptr || nLen < 1 || nKeyLen < 1 || pKey == nullptr) {
        nLen = FAILED;
        return;
    }
    const std::unique_ptr<char[]> pOld(std::exchange(pOut, nullptr));  // until the end: in may lie in it
    const RsaPtr pRsa = ParsePrivateKey(pKey, nKeyLen);
    if (pRsa == nullptr) {
        WriteLog(PRIVATE_KEY_NOT_PARSED,
                 "[LocalRsaKeyMgr::RSA_private_decrypt] Call d2i_RSAPrivateKey failed, get rsa obj is null, "
                 "error:%s",
                 TakeErrorText());
        pOut = ZeroedArray(static_cast<std::size_t>(nLen)).release();
        return;
    }
    const long nKeySize = RSA_size(pRsa.get());
    // OpenSSL writes to all of a block's room, even if only what was there before: a short input needs it
    // too.
    const auto nRoom = static_cast<std::size_t>(std::max(nLen, nKeySize));
    WipedArray pPlain(ZeroedArray(nRoom).release(), WipingDelete{nRoom});
    const long nBlock = std::min(nKeySize, nLen);
    CipherInput input{pIn, nLen};
    AutoReleaseStrEx scratch;
    if (nBlock <= nLen / 2) {
        scratch.fromHex(pIn, nLen);
        input = CipherInput{scratch.getBuffer(), scratch.length()};
    }
    nLen = DecryptBlocks(pPlain.get(), input, nBlock, pRsa.get());
    if (nLen == FAILED) {
        pPlain.reset();  // the blocks before the refused one
        ReportRefusedBlock(scratch, input);
        return;
    }
    pOut = pPlain.release();
}

int RsaAlgorithm::RsaEncryptByPublicKey(AutoReleaseString& out, const AutoReleaseString& in, const char* pKey,
                                        const int& nKeyLen)
{
    long nLength = in.length();
    char* pCipher = nullptr;
    if (pKey != nullptr) {
        Encrypt(pCipher, in.getBuffer(), nLength, pKey, nKeyLen);
    } else if (LocalRsaKeyMgr* const pLocal = LocalRsaKeyMgr::Instance()) {
        Encrypt(pCipher, in.getBuffer(), nLength, pLocal->GetLocalRsaPublicKey(),
                pLocal->GetLocalRsaPublicKeyLen());
    } else {
        nLength = FAILED;
    }
    AutoReleaseStrEx scratch;
    scratch.Adopt(pCipher, nLength);
    if (nLength < 0) return 0;
    scratch.toHex();
    // Deliberate: not looked at. Callers take 1 for "encrypted", whatever their own buffers make of it.
    static_cast<void>(out.setBuffer(scratch.getBuffer(), static_cast<unsigned int>(scratch.length())));
    return 1;
}

bool RsaAlgorithm::CheckPublicKey(const std::string& der, int nMinBits)
{
    if (der.size() > MAX_PUBLIC_DER) return false;
    const unsigned char* pNext = AsBytes(der.data());
    const KeyPtr pRsa(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &pNext, static_cast<long>(der.size())));
    const bool bUsable = pRsa != nullptr && EVP_PKEY_get_bits(pRsa.get()) >= nMinBits &&
                         EVP_PKEY_get_bits(pRsa.get()) <= MAX_PUBLIC_BITS && IsEncodingOf(der, pRsa.get()) &&
                         HasSoundNumbers(pRsa.get());
    ERR_clear_error();
    return bUsable;
}

}  // namespace NS_UTIL
