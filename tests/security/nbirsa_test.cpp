#include "nbiutil/nbirsa.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/securebuffer.h"
#include "security/rsatesting.h"
#include "support/lockfailure.h"

namespace NS_UTIL {
namespace {

using nbitest::Decrypt;
using nbitest::Encrypt;
using nbitest::Hex;
using nbitest::KeyOf;
using nbitest::RsaKey;
using nbitest::RsaOutcome;
using nbitest::SmallPublicKey;
using ::testing::IsEmpty;

class RsaAlgorithmTest : public nbitest::RsaFixture {};

class RsaKeySizeTest : public RsaAlgorithmTest, public ::testing::WithParamInterface<unsigned int> {};
INSTANTIATE_TEST_SUITE_P(Bits, RsaKeySizeTest, ::testing::Values(1024, 1536, 2048, 3072, 4096));

TEST_P(RsaKeySizeTest, OpenSslDecryptsWhatEncryptMade)
{
    const RsaKey& key = KeyOf(GetParam());
    const std::string longest(static_cast<std::size_t>(key.Size() - 42), 'x');
    for (const std::string& plain : {std::string("s"), std::string("a\0b", 3), longest}) {
        const RsaOutcome cipher = Encrypt(plain, key.Public());
        ASSERT_EQ(cipher.m_nLength, key.Size());
        EXPECT_EQ(key.Decrypt(cipher.Text()), plain);
    }
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_P(RsaKeySizeTest, DecryptReadsWhatOpenSslEncryptedRawAndAsText)
{
    const RsaKey& key = KeyOf(GetParam());
    const std::string plain = "a secret of a client";
    const std::string cipher = key.Encrypt(plain);
    for (const std::string& form : {cipher, Hex(cipher), Hex(cipher, "0123456789ABCDEF")}) {
        const RsaOutcome decrypted = Decrypt(form, key.Private());
        ASSERT_EQ(decrypted.m_nLength, static_cast<long>(plain.size()));
        EXPECT_STREQ(decrypted.m_pOut.get(), plain.c_str()) << "not zero-terminated";
    }
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_P(RsaKeySizeTest, InputOfAFullChunkIsRefused)
{
    const RsaKey& key = KeyOf(GetParam());
    const RsaOutcome cipher =
        Encrypt(std::string(static_cast<std::size_t>(key.Size() - 41), 'x'), key.Public());
    EXPECT_EQ(cipher.m_nLength, -1);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
}

// Encrypt

TEST_F(RsaAlgorithmTest, LongestInputOfA2048BitKeyIs214Bytes)
{
    EXPECT_EQ(Encrypt(std::string(214, 'x'), m_Public).m_nLength, 256);
    EXPECT_THAT(m_Host.Logs(), IsEmpty());

    const RsaOutcome refused = Encrypt(std::string(215, 'x'), m_Public);
    EXPECT_EQ(refused.m_nLength, -1);
    EXPECT_EQ(refused.m_pOut, nullptr);
    EXPECT_EQ(m_Host.Logs(), Line(313,
                                  "[LocalRsaKeyMgr::RsaEncryptByPublicKey] Call RSA_public_encrypt "
                                  "error:data too large for key size"));
}

TEST_F(RsaAlgorithmTest, InputOfSeveralChunksIsRefusedAsAWhole)
{
    for (const std::size_t nBytes : {216u, 430u, 100000u}) {
        SCOPED_TRACE(nBytes);
        m_Host.ClearLogs();
        const RsaOutcome refused = Encrypt(std::string(nBytes, 'x'), m_Public);
        EXPECT_EQ(refused.m_nLength, -1);
        EXPECT_EQ(refused.m_pOut, nullptr);
        EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
    }
}

TEST_F(RsaAlgorithmTest, EmptyInputGivesOneBlock)
{
    const RsaOutcome cipher = Encrypt("", m_Public);
    EXPECT_EQ(cipher.m_nLength, 256);
    EXPECT_EQ(m_Key.Decrypt(cipher.Text()), "");
}

TEST_F(RsaAlgorithmTest, EncryptReleasesTheOldOutput)
{
    char* pOut = new char[7];
    long nLength = 1;
    RsaAlgorithm::Encrypt(pOut, "s", nLength, m_Public.data(), static_cast<int>(m_Public.size()));
    const std::unique_ptr<char[]> pOwner(pOut);
    EXPECT_EQ(m_Key.Decrypt(std::string(pOut, 256)), "s");
}

TEST_F(RsaAlgorithmTest, EncryptReadsAnInputThatIsTheOldOutput)
{
    char* pOut = new char[3]{'a', 'b', 'c'};
    long nLength = 3;
    RsaAlgorithm::Encrypt(pOut, pOut, nLength, m_Public.data(), static_cast<int>(m_Public.size()));
    const std::unique_ptr<char[]> pOwner(pOut);
    EXPECT_EQ(m_Key.Decrypt(std::string(pOut, 256)), "abc");
}

TEST_F(RsaAlgorithmTest, EncryptWithAMissingArgumentGivesMinusOneAndLeavesTheOutput)
{
    const int nKey = static_cast<int>(m_Public.size());
    char old[] = "old";
    char* pOut = old;
    long nLength = 1;
    RsaAlgorithm::Encrypt(pOut, nullptr, nLength, m_Public.data(), nKey);
    EXPECT_EQ(nLength, -1);
    nLength = 1;
    RsaAlgorithm::Encrypt(pOut, "s", nLength, nullptr, nKey);
    EXPECT_EQ(nLength, -1);
    for (const int nNoKey : {0, -1, INT_MIN}) {
        nLength = 1;
        RsaAlgorithm::Encrypt(pOut, "s", nLength, m_Public.data(), nNoKey);
        EXPECT_EQ(nLength, -1);
    }
    EXPECT_EQ(pOut, old);
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(RsaAlgorithmTest, PublicKeyThatDoesNotParseChangesNothing)
{
    char old[] = "old";
    char* pOut = old;
    long nLength = 4711;
    RsaAlgorithm::Encrypt(pOut, "s", nLength, "\x02\x01\x00", 3);
    EXPECT_EQ(nLength, 4711);
    EXPECT_EQ(pOut, old);
    EXPECT_EQ(m_Host.Logs(), Line(269,
                                  "[LocalRsaKeyMgr::RsaEncryptByPublicKey] Call d2i_RSAPublicKey failed, get "
                                  "rsa obj is null,error:wrong tag"));
}

/// A key that is there is read, however short; what comes of a missing one is another.
TEST_F(RsaAlgorithmTest, PublicKeyOfOneByteDoesNotParseEither)
{
    EXPECT_EQ(Encrypt("plain", "\x30").m_nLength, 5);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 269).size(), 1u);
}

TEST_F(RsaAlgorithmTest, PublicKeyIsParsedBeforeTheLengthIsLookedAt)
{
    char* pOut = nullptr;
    long nLength = -7;
    RsaAlgorithm::Encrypt(pOut, "s", nLength, "\x02\x01\x00", 3);
    EXPECT_EQ(nLength, -7);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 269).size(), 1u);
}

TEST_F(RsaAlgorithmTest, NegativeLengthIsARefusalWithAReasonOfOpenSsl)
{
    for (const long nNegative : {-1L, -257L, LONG_MIN}) {
        SCOPED_TRACE(nNegative);
        m_Host.ClearLogs();
        char* pOut = new char[3];
        long nLength = nNegative;
        RsaAlgorithm::Encrypt(pOut, "s", nLength, m_Public.data(), static_cast<int>(m_Public.size()));
        EXPECT_EQ(nLength, -1);
        EXPECT_EQ(pOut, nullptr);
        EXPECT_EQ(m_Host.Logs(),
                  Line(313,
                       "[LocalRsaKeyMgr::RsaEncryptByPublicKey] Call RSA_public_encrypt error:invalid "
                       "message length"));
        EXPECT_EQ(ERR_peek_error(), 0u);
    }
}

TEST_F(RsaAlgorithmTest, SizeThatWrapsBelowZeroIsRefusedAndReleasesTheOutput)
{
    char* pOut = new char[3];
    long nLength = 1900000000;
    RsaAlgorithm::Encrypt(pOut, "s", nLength, m_Public.data(), static_cast<int>(m_Public.size()));
    EXPECT_EQ(nLength, -1);
    EXPECT_EQ(pOut, nullptr);
    EXPECT_EQ(
        m_Host.Logs(),
        Line(286, "[LocalRsaKeyMgr::RsaEncryptByPublicKey] buf len less then zero <-2032641536> error"));
}

TEST_F(RsaAlgorithmTest, WholeChunksGetASpareBlock)
{
    // One block less, and the size would be the largest that is positive.
    constexpr long CHUNKS = (1L << 23) - 1;
    char* pOut = nullptr;
    long nLength = 215 * CHUNKS;
    RsaAlgorithm::Encrypt(pOut, "s", nLength, m_Public.data(), static_cast<int>(m_Public.size()));
    EXPECT_EQ(nLength, -1);
    EXPECT_EQ(
        m_Host.Logs(),
        Line(286, "[LocalRsaKeyMgr::RsaEncryptByPublicKey] buf len less then zero <-2147483648> error"));
}

TEST_F(RsaAlgorithmTest, SizeThatWrapsAroundToAPositiveOneIsRefusedAtTheFirstChunk)
{
    const std::string chunk(215, 'x');  // all that is read
    char* pOut = nullptr;
    long nLength = 215L * ((1L << 24) + 1);
    RsaAlgorithm::Encrypt(pOut, chunk.data(), nLength, m_Public.data(), static_cast<int>(m_Public.size()));
    EXPECT_EQ(nLength, -1);
    EXPECT_EQ(pOut, nullptr);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
}

TEST_F(RsaAlgorithmTest, SizeThatWrapsAroundToOneByteIsASizeToo)
{
    constexpr long CHUNK = 2;
    constexpr long BLOCKS = 799063683;  // 43 times as many are 1, and whole multiples of 2^32
    char* pOut = nullptr;
    long nLength = CHUNK * (BLOCKS - 1);
    const std::string key = SmallPublicKey(43);
    RsaAlgorithm::Encrypt(pOut, "xx", nLength, key.data(), static_cast<int>(key.size()));
    EXPECT_EQ(nLength, -1);
    EXPECT_EQ(pOut, nullptr);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
}

TEST_F(RsaAlgorithmTest, KeyWithoutRoomForAChunkGivesNoSize)
{
    for (const std::size_t nBytes : {1u, 20u, 40u, 41u}) {
        for (const std::size_t nPlain : {0u, 1u, 100u}) {
            SCOPED_TRACE(nBytes);
            m_Host.ClearLogs();
            const RsaOutcome refused = Encrypt(std::string(nPlain, 'x'), SmallPublicKey(nBytes));
            EXPECT_EQ(refused.m_nLength, -1);
            EXPECT_EQ(refused.m_pOut, nullptr);
            EXPECT_EQ(m_Host.Logs(),
                      Line(286, "[LocalRsaKeyMgr::RsaEncryptByPublicKey] buf len less then zero <0> error"));
        }
    }
}

TEST_F(RsaAlgorithmTest, SmallestKeyWithAChunkTakesTheEmptyInput)
{
    EXPECT_EQ(Encrypt("", SmallPublicKey(42)).m_nLength, 42);
    EXPECT_EQ(Encrypt("x", SmallPublicKey(42)).m_nLength, -1);
}

TEST_F(RsaAlgorithmTest, ErrorsOfOthersAreNotReported)
{
    ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);
    Encrypt(std::string(215, 'x'), m_Public);
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_THAT(m_Host.Logs()[0].m_Text, ::testing::EndsWith("error:data too large for key size"));
    EXPECT_EQ(ERR_peek_error(), 0u) << "the next user of OpenSSL takes this for a failure of its own";

    m_Host.ClearLogs();
    ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);
    Encrypt("x", std::string("\x02\x01\x00", 3));
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_THAT(m_Host.Logs()[0].m_Text, ::testing::EndsWith("error:wrong tag"));
}

// RsaEncryptByPublicKey

class RsaEncryptByPublicKeyTest : public RsaAlgorithmTest {
protected:
    RsaEncryptByPublicKeyTest() { EXPECT_EQ(m_In.setBuffer("secret"), 0); }

    int Run(const AutoReleaseString& in)
    {
        return RsaAlgorithm::RsaEncryptByPublicKey(m_Out, in, m_Public.data(),
                                                   static_cast<int>(m_Public.size()));
    }

    std::string OutText() const { return std::string(m_Out.getBuffer(), m_Out.length()); }

    AutoReleaseString m_In;
    AutoReleaseString m_Out;
};

TEST_F(RsaEncryptByPublicKeyTest, ResultIsTwiceTheCiphersLengthWithTwoDigits)
{
    EXPECT_EQ(Run(m_In), 1);
    EXPECT_EQ(m_Out.length(), 512u);
    std::string text = OutText();
    EXPECT_TRUE(std::isxdigit(text[4]) && std::isxdigit(text[5]));
    text[4] = text[5] = '\0';
    EXPECT_EQ(text, std::string(512, '\0'));
}

TEST_F(RsaEncryptByPublicKeyTest, EmptyPayloadIsEncryptedToo)
{
    ASSERT_EQ(m_In.setBuffer("", 0), 0);
    EXPECT_EQ(Run(m_In), 1);
    EXPECT_EQ(m_Out.length(), 512u);
}

TEST_F(RsaEncryptByPublicKeyTest, InputThatWasNeverSetGivesZero)
{
    ASSERT_EQ(m_Out.setBuffer("old"), 0);
    EXPECT_EQ(Run(AutoReleaseString()), 0);
    EXPECT_EQ(OutText(), "old");
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(RsaEncryptByPublicKeyTest, InputThatIsTooLongGivesZeroAndLeavesTheOutput)
{
    ASSERT_EQ(m_Out.setBuffer("old"), 0);
    ASSERT_EQ(m_In.setBuffer(std::string(215, 'x').c_str()), 0);
    EXPECT_EQ(Run(m_In), 0);
    EXPECT_EQ(OutText(), "old");
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
}

TEST_F(RsaEncryptByPublicKeyTest, KeyThatDoesNotParseGivesOneAndLeavesTheOutput)
{
    ASSERT_EQ(m_Out.setBuffer("old"), 0);
    EXPECT_EQ(RsaAlgorithm::RsaEncryptByPublicKey(m_Out, m_In, "\x02\x01\x00", 3), 1);
    EXPECT_EQ(OutText(), "old");
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 269).size(), 1u);
}

TEST_F(RsaEncryptByPublicKeyTest, KeyThatDoesNotParseGivesOneForAnEmptyPayloadToo)
{
    ASSERT_EQ(m_In.setBuffer("", 0), 0);
    EXPECT_EQ(RsaAlgorithm::RsaEncryptByPublicKey(m_Out, m_In, "\x02\x01\x00", 3), 1);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 269).size(), 1u);
}

TEST_F(RsaEncryptByPublicKeyTest, FailedCopyOfTheResultIsNotReported)
{
    m_Host.FailMemcpy(1);
    EXPECT_EQ(Run(m_In), 1);
    EXPECT_EQ(OutText(), std::string(512, '\0'));
}

TEST_F(RsaEncryptByPublicKeyTest, InputAndOutputMayBeOneObject)
{
    EXPECT_EQ(
        RsaAlgorithm::RsaEncryptByPublicKey(m_In, m_In, m_Public.data(), static_cast<int>(m_Public.size())),
        1);
    EXPECT_EQ(m_In.length(), 512u);
}

TEST_F(RsaEncryptByPublicKeyTest, NullKeyMeansTheLocalPublicKey)
{
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    EXPECT_EQ(RsaAlgorithm::RsaEncryptByPublicKey(m_Out, m_In, nullptr, 0), 1);
    EXPECT_EQ(m_Out.length(), 512u);
    EXPECT_TRUE(std::isxdigit(m_Out.getBuffer()[4]) && std::isxdigit(m_Out.getBuffer()[5]));
    EXPECT_EQ(m_Out.getBuffer()[6], '\0');
}

TEST_F(RsaEncryptByPublicKeyTest, NullKeyWithoutALocalKeyGivesZero)
{
    EXPECT_EQ(RsaAlgorithm::RsaEncryptByPublicKey(m_Out, m_In, nullptr, 270), 0);
    EXPECT_EQ(m_Out.getBuffer(), nullptr);
}

TEST_F(RsaEncryptByPublicKeyTest, NullKeyWithoutALocalKeyManagerGivesZero)
{
    if (!nbitest::CanFailLocks()) GTEST_SKIP() << nbitest::NO_FAILING_LOCKS;
    const nbitest::FailingLocks failing(nbitest::LockKind::MUTEX);
    EXPECT_EQ(RsaAlgorithm::RsaEncryptByPublicKey(m_Out, m_In, nullptr, 0), 0);
}

TEST_F(RsaEncryptByPublicKeyTest, BuffersAreUsedThroughTheirVirtualOperations)
{
    class In : public AutoReleaseString {
    public:
        using AutoReleaseString::setBuffer;
        const char* getBuffer() const override { return "virtual"; }
        unsigned int length() const override { return 7; }
    };
    class Out : public AutoReleaseString {
    public:
        using AutoReleaseString::setBuffer;
        int setBuffer(const char*, unsigned int len) override
        {
            m_nSeen = len;
            return -1;
        }
        unsigned int m_nSeen = 0;
    };
    Out out;
    EXPECT_EQ(
        RsaAlgorithm::RsaEncryptByPublicKey(out, In(), m_Public.data(), static_cast<int>(m_Public.size())),
        1);
    EXPECT_EQ(out.m_nSeen, 512u);
}

}  // namespace
}  // namespace NS_UTIL
