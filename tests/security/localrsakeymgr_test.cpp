#include "nbiutil/localrsakeymgr.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "nbihost/cipher.h"
#include "nbihost/recordinghost.h"
#include "nbiutil/nbirsa.h"
#include "security/localkeytesting.h"
#include "support/heapwatch.h"
#include "support/norandombytes.h"
#include "support/rsakey.h"

namespace {

bool g_bErrorBehindTheKey = false;  // a generation that works leaves an error in the queue
int g_nBitsToMake = 0;              // of the last key pair that was asked for

std::string_view g_FailingCall;  // the name of one of the functions below

const nbitest::RecordingHost* g_pWatchedHost = nullptr;
std::vector<std::size_t> g_CipherCallsAtRelease;  // for each RSA object that is freed

template <class Function>
Function* Real(Function*, const char* pName)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, pName));
}

/// While it lives, that function of OpenSSL fails.
class FailingCall {
public:
    explicit FailingCall(const char* pName) { g_FailingCall = pName; }
    ~FailingCall() { g_FailingCall = {}; }
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) RSA* RSA_new()
{
    return g_FailingCall == "RSA_new" ? nullptr : Real(&RSA_new, "RSA_new")();
}

__attribute__((visibility("default"))) BIGNUM* BN_new()
{
    return g_FailingCall == "BN_new" ? nullptr : Real(&BN_new, "BN_new")();
}

__attribute__((visibility("default"))) int BN_set_word(BIGNUM* pNumber, BN_ULONG nValue)
{
    return g_FailingCall == "BN_set_word" ? 0 : Real(&BN_set_word, "BN_set_word")(pNumber, nValue);
}

__attribute__((visibility("default"))) int i2d_RSAPublicKey(const RSA* pKey, unsigned char** ppDer)
{
    return g_FailingCall == "i2d_RSAPublicKey" ? -1
                                               : Real(&i2d_RSAPublicKey, "i2d_RSAPublicKey")(pKey, ppDer);
}

__attribute__((visibility("default"))) int i2d_RSAPrivateKey(const RSA* pKey, unsigned char** ppDer)
{
    return g_FailingCall == "i2d_RSAPrivateKey" ? -1
                                                : Real(&i2d_RSAPrivateKey, "i2d_RSAPrivateKey")(pKey, ppDer);
}

__attribute__((visibility("default"))) int RSA_generate_key_ex(RSA* pKey, int nBits, BIGNUM* pExponent,
                                                               BN_GENCB* pProgress)
{
    g_nBitsToMake = nBits;
    const int nResult = Real(&RSA_generate_key_ex, "RSA_generate_key_ex")(pKey, nBits, pExponent, pProgress);
    if (g_bErrorBehindTheKey) ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);
    return nResult;
}

__attribute__((visibility("default"))) void RSA_free(RSA* pKey)
{
    if (g_pWatchedHost != nullptr && pKey != nullptr) {
        g_CipherCallsAtRelease.push_back(g_pWatchedHost->CipherSelectors().size());
    }
    Real(&RSA_free, "RSA_free")(pKey);
}

}  // extern "C"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::NoRandomBytes;
using nbitest::RecordingHost;
using nbitest::RsaKey;
using ::testing::IsEmpty;
using Lines = std::vector<LogLine>;

constexpr const char* PUBLIC_NOT_PARSED =
    "[LocalRsaKeyMgr::CheckLocalRsaKey] Call d2i_RSAPublicKey failed, get public rsa obj is "
    "null,error:wrong tag";
constexpr const char* PRIVATE_NOT_PARSED =
    "[LocalRsaKeyMgr::CheckLocalRsaKey] Call d2i_RSAPrivateKey failed, get private rsa obj is null,error:";

class LocalRsaKeyMgrTest : public nbitest::LocalKeyTest {
protected:
    LogLine Line(int nLine, const std::string& text) const
    {
        return LogLine{"localrsakeymgr", "unknown", nLine, 1, text};
    }

    void SpoilThePublicKey() { const_cast<char*>(m_Manager.GetLocalRsaPublicKey())[0] = '\x02'; }
};

TEST_F(LocalRsaKeyMgrTest, NewObjectHoldsNothing)
{
    EXPECT_EQ(LocalRsaKeyMgr::Instance(), &m_Manager);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKey(), nullptr);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 0);
}

TEST_F(LocalRsaKeyMgrTest, CheckOfAnEmptyObjectLogsBothKeys)
{
    EXPECT_EQ(m_Manager.CheckLocalRsaKey(), 0);
    EXPECT_EQ(m_Host.Logs(), (Lines{Line(212, "[LocalRsaKeyMgr::CheckLocalRsaKey] public key is null"),
                                    Line(237, "[LocalRsaKeyMgr::CheckLocalRsaKey] private key is null")}));
    EXPECT_THAT(m_Host.CipherSelectors(), IsEmpty());
}

TEST_F(LocalRsaKeyMgrTest, InitMakesA2048BitKeyWithExponent65537)
{
    EXPECT_EQ(m_Manager.Init(), 1);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 270);
    EXPECT_EQ(RsaKey(PublicDer()).Bits(), 2048);
    EXPECT_EQ(g_nBitsToMake, 2048) << "OpenSSL rounds an odd number down";
    EXPECT_THAT(PublicDer(), ::testing::EndsWith(std::string("\x02\x03\x01\x00\x01", 5)));
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKey()[270], '\0');
    EXPECT_EQ(m_Manager.CheckLocalRsaKey(), 1);
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(LocalRsaKeyMgrTest, KeyPairIsMadeWithoutInitToo)
{
    EXPECT_EQ(m_Manager.RsaKeyPairGen(), 1);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 270);
}

TEST_F(LocalRsaKeyMgrTest, PrivateKeyGoesThroughTheHostsCipherUnderSelector19)
{
    m_Manager.Init();
    EXPECT_EQ(m_Host.CipherSelectors(), (std::vector<unsigned int>{19, 19})) << "enciphered and checked";
}

TEST_F(LocalRsaKeyMgrTest, SecondInitKeepsTheKeyPair)
{
    m_Manager.Init();
    const std::string first = PublicDer();
    EXPECT_EQ(m_Manager.Init(), 1);
    EXPECT_EQ(m_Manager.RsaKeyPairGen(), 1);
    EXPECT_EQ(PublicDer(), first);
}

TEST_F(LocalRsaKeyMgrTest, KeyPairIsLostWithItsObject)
{
    m_Manager.Init();
    const std::string first = PublicDer();
    LocalRsaKeyMgr::Destroy();
    LocalRsaKeyMgr& next = *LocalRsaKeyMgr::Instance();
    EXPECT_EQ(next.GetLocalRsaPublicKey(), nullptr);
    ASSERT_EQ(next.Init(), 1);
    EXPECT_NE(std::string(next.GetLocalRsaPublicKey(), 270), first);
}

TEST_F(LocalRsaKeyMgrTest, PublicKeyThatDoesNotParseIsLoggedAndThePrivateOneIsCheckedAll)
{
    m_Manager.Init();
    SpoilThePublicKey();
    const std::size_t nBefore = m_Host.CipherSelectors().size();
    EXPECT_EQ(m_Manager.CheckLocalRsaKey(), 0) << "a good private key does not make up for it";
    EXPECT_EQ(m_Host.Logs(), Lines{Line(203, PUBLIC_NOT_PARSED)});
    EXPECT_EQ(m_Host.CipherSelectors().size(), nBefore + 1);
}

TEST_F(LocalRsaKeyMgrTest, HeldKeysAreNotMadeAgainHoweverBadTheyAre)
{
    m_Manager.Init();
    SpoilThePublicKey();
    const std::string spoiled = PublicDer();
    EXPECT_EQ(m_Manager.Init(), 0);
    EXPECT_EQ(PublicDer(), spoiled);
}

TEST_F(LocalRsaKeyMgrTest, PrivateKeyThatDoesNotDecipherIsLogged)
{
    m_Manager.Init();
    m_Host.SetDecryptResult(1);
    EXPECT_EQ(m_Manager.CheckLocalRsaKey(), 0);
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_nLine, 225);
    EXPECT_THAT(m_Host.Logs()[0].m_Text, ::testing::StartsWith(PRIVATE_NOT_PARSED));
    EXPECT_EQ(ERR_peek_error(), 0u);
}

TEST_F(LocalRsaKeyMgrTest, FailingCipherIsLoggedAndTheFinalCheckReportsIt)
{
    m_Host.SetEncryptResult(-3);
    EXPECT_EQ(m_Manager.Init(), 0);
    const Lines lines = m_Host.Logs();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(
        lines[0],
        Line(
            155,
            "[LocalRsaKeyMgr::CheckLocalRsaKey] Call encrypt failed, Call encrypt Fail. ErrCode=:, res<-3>"));
    EXPECT_EQ(lines[1].m_nLine, 225);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 270);
}

TEST_F(LocalRsaKeyMgrTest, ErrorsOfOthersAreNotTheCiphers)
{
    m_Host.SetEncryptResult(-3);
    g_bErrorBehindTheKey = true;
    m_Manager.Init();
    g_bErrorBehindTheKey = false;
    ASSERT_EQ(m_Host.LogsAt("localrsakeymgr", 155).size(), 1u);
    EXPECT_THAT(m_Host.LogsAt("localrsakeymgr", 155)[0].m_Text, ::testing::EndsWith("ErrCode=:, res<-3>"));
}

TEST_F(LocalRsaKeyMgrTest, PlainKeyIsGoneBeforeTheCheck)
{
    g_pWatchedHost = &m_Host;
    m_Manager.Init();
    g_pWatchedHost = nullptr;
    EXPECT_EQ(g_CipherCallsAtRelease, (std::vector<std::size_t>{1, 1, 2}))
        << "the new key and the public one before the private one is deciphered, then that";
}

TEST_F(LocalRsaKeyMgrTest, EmptyCipherTextCountsAsAHeldPrivateKey)
{
    m_Host.SetEncryptResult(1);
    m_Manager.Init();
    const std::string first = PublicDer();
    m_Host.SetEncryptResult(0);
    EXPECT_EQ(m_Manager.Init(), 0) << "nothing is made again, and the private key is still an empty text";
    EXPECT_EQ(PublicDer(), first);
}

TEST_F(LocalRsaKeyMgrTest, FailedCopyIsLoggedAndTheFinalCheckReportsIt)
{
    m_Host.FailMemcpy(1);
    EXPECT_EQ(m_Manager.Init(), 0);
    const Lines lines = m_Host.Logs();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].m_Text, "memcpy_s failed.");
    EXPECT_EQ(lines[0].m_File, "localrsakeymgr");
    EXPECT_EQ(lines[1].m_nLine, 203);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 270);
}

TEST_F(LocalRsaKeyMgrTest, FailedGenerationLeavesBothKeysEmpty)
{
    ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);  // somebody else's, which must not be reported
    {
        const NoRandomBytes noRandomBytes;
        EXPECT_EQ(m_Manager.Init(), 0);
    }
    EXPECT_EQ(
        m_Host.Logs(),
        Lines{Line(121,
                   "[LocalRsaKeyMgr::CheckLocalRsaKey] Call d2i_RSAPublicKey failed, get public rsa obj "
                   "is null,error:internal error, res<0>")});
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKey(), nullptr);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 0);
    EXPECT_EQ(ERR_peek_error(), 0u);
    EXPECT_EQ(m_Manager.Init(), 1) << "the next attempt finds nothing held and makes the key pair";
}

class KeyPartTest : public LocalRsaKeyMgrTest, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(Calls, KeyPartTest, ::testing::Values("RSA_new", "BN_new", "BN_set_word"));

TEST_P(KeyPartTest, WithoutItNoKeyIsMade)
{
    {
        const FailingCall failing(GetParam());
        EXPECT_EQ(m_Manager.RsaKeyPairGen(), 0);
    }
    EXPECT_EQ(
        m_Host.Logs(),
        Lines{Line(121,
                   "[LocalRsaKeyMgr::CheckLocalRsaKey] Call d2i_RSAPublicKey failed, get public rsa obj "
                   "is null,error:, res<0>")});
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKey(), nullptr);
    EXPECT_EQ(m_Manager.RsaKeyPairGen(), 1) << "the next attempt makes the key pair";
}

TEST_F(LocalRsaKeyMgrTest, PublicKeyThatCannotBeEncodedIsHeldAsAnEmptyText)
{
    const FailingCall failing("i2d_RSAPublicKey");
    EXPECT_EQ(m_Manager.RsaKeyPairGen(), 0);
    ASSERT_NE(m_Manager.GetLocalRsaPublicKey(), nullptr);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 0);
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_nLine, 203);
}

TEST_F(LocalRsaKeyMgrTest, PrivateKeyThatCannotBeEncodedIsEncipheredAsAnEmptyText)
{
    const FailingCall failing("i2d_RSAPrivateKey");
    EXPECT_EQ(m_Manager.RsaKeyPairGen(), 0);
    EXPECT_EQ(m_Host.CipherSelectors().size(), 2u);
    EXPECT_EQ(m_Host.LastEnciphered(), "");
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_nLine, 225);
}

TEST_F(LocalRsaKeyMgrTest, HalfAPairIsClearedAndMadeAgain)
{
    {
        // The text of the enciphered private key is the first thing that is as long.
        const nbitest::AllocationLimit limit(1500);
        EXPECT_THROW(m_Manager.RsaKeyPairGen(), std::bad_alloc);
    }
    ASSERT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 270) << "the public key was not held yet";
    const std::string first = PublicDer();
    EXPECT_EQ(m_Manager.RsaKeyPairGen(), 1);
    EXPECT_NE(PublicDer(), first);
}

TEST_F(LocalRsaKeyMgrTest, PublicKeyTakesItsLengthAndAZeroByte)
{
    const nbitest::AllocationLimit limit(271);  // the private one has no room then
    EXPECT_THROW(m_Manager.RsaKeyPairGen(), std::bad_alloc);
    EXPECT_NE(m_Manager.GetLocalRsaPublicKey(), nullptr);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 270);
}

TEST_F(LocalRsaKeyMgrTest, HalfAPairIsClearedThoughNoneCanBeMade)
{
    {
        const nbitest::AllocationLimit limit(1500);
        EXPECT_THROW(m_Manager.RsaKeyPairGen(), std::bad_alloc);
    }
    const NoRandomBytes noRandomBytes;
    EXPECT_EQ(m_Manager.RsaKeyPairGen(), 0);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKey(), nullptr);
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyLen(), 0);
}

TEST_F(LocalRsaKeyMgrTest, HalfAPairIsCheckedAsOne)
{
    {
        const nbitest::AllocationLimit limit(1500);
        EXPECT_THROW(m_Manager.RsaKeyPairGen(), std::bad_alloc);
    }
    EXPECT_EQ(m_Manager.CheckLocalRsaKey(), 0);
    EXPECT_EQ(m_Host.Logs(), Lines{Line(237, "[LocalRsaKeyMgr::CheckLocalRsaKey] private key is null")});
}

TEST_F(LocalRsaKeyMgrTest, FingerprintIsSha256OfThePublicKeyInHexadecimal)
{
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyFingerprint(), "") << "before there is a key";
    m_Manager.Init();
    const std::string der = PublicDer();
    unsigned char digest[32];
    SHA256(reinterpret_cast<const unsigned char*>(der.data()), der.size(), digest);
    std::string expected;
    for (const unsigned int nByte : digest) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", nByte);
        expected += digits;
    }
    EXPECT_EQ(m_Manager.GetLocalRsaPublicKeyFingerprint(), expected);
    EXPECT_EQ(expected.size(), 64u);
}

TEST_F(LocalRsaKeyMgrTest, OwnPublicKeyPassesTheCheckOfPublicKeys)
{
    m_Manager.Init();
    EXPECT_TRUE(RsaAlgorithm::CheckPublicKey(PublicDer(), 2048));
}

}  // namespace
}  // namespace NS_UTIL
