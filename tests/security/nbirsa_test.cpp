#include "nbiutil/nbirsa.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <climits>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/securebuffer.h"
#include "support/lockfailure.h"
#include "support/recordinghost.h"
#include "support/rsakey.h"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::RecordingHost;
using nbitest::RsaKey;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using Lines = std::vector<LogLine>;

/// What one of the operations left in its two output arguments.
struct Outcome {
    std::unique_ptr<char[]> m_pOut;
    long m_nLength;

    std::string Text() const { return std::string(m_pOut.get(), static_cast<std::size_t>(m_nLength)); }
};

Outcome Encrypt(const std::string& plain, const std::string& key)
{
    char* pOut = nullptr;
    long nLength = static_cast<long>(plain.size());
    RsaAlgorithm::Encrypt(pOut, plain.data(), nLength, key.data(), static_cast<int>(key.size()));
    return Outcome{std::unique_ptr<char[]>(pOut), nLength};
}

/// Copies the input to an array of exactly its size, so that the address sanitizer sees every byte beyond.
Outcome Decrypt(const std::string& cipher, const std::string& key)
{
    std::unique_ptr<char[]> pIn(new char[cipher.size()]);
    cipher.copy(pIn.get(), cipher.size());
    char* pOut = nullptr;
    long nLength = static_cast<long>(cipher.size());
    RsaAlgorithm::Decrypt(pOut, pIn.get(), nLength, key.data(), static_cast<int>(key.size()));
    return Outcome{std::unique_ptr<char[]>(pOut), nLength};
}

std::string Hex(const std::string& bytes, const char* pDigits = "0123456789abcdef")
{
    std::string text;
    for (const char character : bytes) {
        const auto nByte = static_cast<unsigned char>(character);
        text += pDigits[nByte / 16];
        text += pDigits[nByte % 16];
    }
    return text;
}

const RsaKey& KeyOf(unsigned int nBits)
{
    static std::map<unsigned int, std::unique_ptr<RsaKey>> keys;
    std::unique_ptr<RsaKey>& pKey = keys[nBits];
    if (pKey == nullptr) pKey = std::make_unique<RsaKey>(nBits);
    return *pKey;
}

class RsaAlgorithmTest : public ::testing::Test {
protected:
    ~RsaAlgorithmTest() override { LocalRsaKeyMgr::Destroy(); }

    Lines Line(int nLine, const std::string& text) const
    {
        return Lines{{"nbirsa", "unknown", nLine, 1, text}};
    }

    RecordingHost m_Host;
    const RsaKey& m_Key = KeyOf(2048);
    const std::string m_Public = m_Key.Public();
    const std::string m_Private = m_Key.Private();
};

class RsaKeySizeTest : public RsaAlgorithmTest, public ::testing::WithParamInterface<unsigned int> {};
INSTANTIATE_TEST_SUITE_P(Bits, RsaKeySizeTest, ::testing::Values(1024, 1536, 2048, 3072, 4096));

TEST_P(RsaKeySizeTest, OpenSslDecryptsWhatEncryptMade)
{
    const RsaKey& key = KeyOf(GetParam());
    const std::string longest(static_cast<std::size_t>(key.Size() - 42), 'x');
    for (const std::string& plain : {std::string("s"), std::string("a\0b", 3), longest}) {
        const Outcome cipher = Encrypt(plain, key.Public());
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
        const Outcome decrypted = Decrypt(form, key.Private());
        ASSERT_EQ(decrypted.m_nLength, static_cast<long>(plain.size()));
        EXPECT_STREQ(decrypted.m_pOut.get(), plain.c_str()) << "not zero-terminated";
    }
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_P(RsaKeySizeTest, InputOfAFullChunkIsRefused)
{
    const RsaKey& key = KeyOf(GetParam());
    const Outcome cipher = Encrypt(std::string(static_cast<std::size_t>(key.Size() - 41), 'x'), key.Public());
    EXPECT_EQ(cipher.m_nLength, -1);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
}

// Encrypt

TEST_F(RsaAlgorithmTest, LongestInputOfA2048BitKeyIs214Bytes)
{
    EXPECT_EQ(Encrypt(std::string(214, 'x'), m_Public).m_nLength, 256);
    EXPECT_THAT(m_Host.Logs(), IsEmpty());

    const Outcome refused = Encrypt(std::string(215, 'x'), m_Public);
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
        const Outcome refused = Encrypt(std::string(nBytes, 'x'), m_Public);
        EXPECT_EQ(refused.m_nLength, -1);
        EXPECT_EQ(refused.m_pOut, nullptr);
        EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
    }
}

TEST_F(RsaAlgorithmTest, EmptyInputGivesOneBlock)
{
    const Outcome cipher = Encrypt("", m_Public);
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

TEST_F(RsaAlgorithmTest, PublicKeyIsParsedBeforeTheLengthIsLookedAt)
{
    char* pOut = nullptr;
    long nLength = -7;
    RsaAlgorithm::Encrypt(pOut, "s", nLength, "\x02\x01\x00", 3);
    EXPECT_EQ(nLength, -7);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 269).size(), 1u);
}

TEST_F(RsaAlgorithmTest, NegativeLengthEndsLikeARefusalWithoutAReason)
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
                  Line(313, "[LocalRsaKeyMgr::RsaEncryptByPublicKey] Call RSA_public_encrypt error:"));
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

/// A PKCS#1 public key with exponent 3 and a modulus of \p nBytes, whose bytes are all 0x7f but the last.
std::string SmallPublicKey(std::size_t nBytes)
{
    const std::string modulus = std::string(nBytes - 1, '\x7f') + '\x71';
    const std::string body = "\x02" + std::string(1, static_cast<char>(nBytes)) + modulus + "\x02\x01\x03";
    return "\x30" + std::string(1, static_cast<char>(body.size())) + body;
}

TEST_F(RsaAlgorithmTest, KeyWithoutRoomForAChunkGivesNoSize)
{
    for (const std::size_t nBytes : {1u, 20u, 40u, 41u}) {
        for (const std::size_t nPlain : {0u, 1u, 100u}) {
            SCOPED_TRACE(nBytes);
            m_Host.ClearLogs();
            const Outcome refused = Encrypt(std::string(nPlain, 'x'), SmallPublicKey(nBytes));
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
}

// Decrypt

TEST_F(RsaAlgorithmTest, RawInputOfSeveralBlocksIsJoined)
{
    const std::string plain = std::string(214, 'a') + "and the rest";
    const Outcome decrypted =
        Decrypt(m_Key.Encrypt(plain.substr(0, 214)) + m_Key.Encrypt(plain.substr(214)), m_Private);
    ASSERT_EQ(decrypted.m_nLength, static_cast<long>(plain.size()));
    EXPECT_EQ(decrypted.Text(), plain);
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(RsaAlgorithmTest, TextOfSeveralBlocksIsJoined)
{
    const std::string cipher = m_Key.Encrypt("one") + m_Key.Encrypt("two") + m_Key.Encrypt("three");
    EXPECT_EQ(Decrypt(Hex(cipher), m_Private).Text(), "onetwothree");
}

TEST_F(RsaAlgorithmTest, BlockThatHoldsNothingIsASuccess)
{
    const Outcome decrypted = Decrypt(m_Key.Encrypt(""), m_Private);
    EXPECT_EQ(decrypted.m_nLength, 0);
    ASSERT_NE(decrypted.m_pOut, nullptr);
    EXPECT_EQ(decrypted.m_pOut[0], '\0');
    EXPECT_EQ(Decrypt(m_Key.Encrypt("") + m_Key.Encrypt("x"), m_Private).Text(), "x");
}

TEST_F(RsaAlgorithmTest, DecryptReleasesTheOldOutput)
{
    const std::string cipher = m_Key.Encrypt("plain");
    char* pOut = new char[7];
    long nLength = 256;
    RsaAlgorithm::Decrypt(pOut, cipher.data(), nLength, m_Private.data(), static_cast<int>(m_Private.size()));
    const std::unique_ptr<char[]> pOwner(pOut);
    ASSERT_EQ(nLength, 5);
    EXPECT_STREQ(pOut, "plain");
}

TEST_F(RsaAlgorithmTest, DecryptReadsAnInputThatIsTheOldOutput)
{
    const std::string cipher = m_Key.Encrypt("plain");
    char* pOut = new char[256];
    cipher.copy(pOut, 256);
    long nLength = 256;
    RsaAlgorithm::Decrypt(pOut, pOut, nLength, m_Private.data(), static_cast<int>(m_Private.size()));
    const std::unique_ptr<char[]> pOwner(pOut);
    ASSERT_EQ(nLength, 5);
    EXPECT_STREQ(pOut, "plain");
}

TEST_F(RsaAlgorithmTest, DecryptWithAMissingArgumentGivesMinusOneAndLeavesTheOutput)
{
    const int nKey = static_cast<int>(m_Private.size());
    char old[] = "old";
    char* pOut = old;
    const auto Run = [&](const char* pIn, long nLength, const char* pKey, int nKeyLength) {
        RsaAlgorithm::Decrypt(pOut, pIn, nLength, pKey, nKeyLength);
        return nLength;
    };
    EXPECT_EQ(Run(nullptr, 256, m_Private.data(), nKey), -1);
    EXPECT_EQ(Run("s", 0, m_Private.data(), nKey), -1);
    EXPECT_EQ(Run("s", -5, m_Private.data(), nKey), -1);
    EXPECT_EQ(Run("s", 1, m_Private.data(), 0), -1);
    EXPECT_EQ(Run("s", 1, m_Private.data(), -1), -1);
    EXPECT_EQ(Run("s", 1, nullptr, nKey), -1);
    EXPECT_EQ(pOut, old);
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(RsaAlgorithmTest, PrivateKeyThatDoesNotParseLeavesZerosOfTheInputsLength)
{
    char* pOut = new char[3]{'o', 'l', 'd'};
    long nLength = 10;
    RsaAlgorithm::Decrypt(pOut, "0123456789", nLength, "\x02\x01\x00", 3);
    const std::unique_ptr<char[]> pOwner(pOut);
    EXPECT_EQ(nLength, 10);
    ASSERT_NE(pOut, nullptr);
    EXPECT_EQ(std::string(pOut, 10), std::string(10, '\0'));
    EXPECT_EQ(m_Host.Logs(),
              Line(374,
                   "[LocalRsaKeyMgr::RSA_private_decrypt] Call d2i_RSAPrivateKey failed, get rsa "
                   "obj is null, error:wrong tag"));
}

void ExpectRefused(RecordingHost& host, const Outcome& refused)
{
    EXPECT_EQ(refused.m_nLength, -1);
    EXPECT_EQ(refused.m_pOut, nullptr);
    const Lines lines = host.LogsAt("nbirsa", 406);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0].m_Text,
                StartsWith("[LocalRsaKeyMgr::RSA_private_decrypt] Call RSA_public_encrypt error:"));
    host.ClearLogs();
}

TEST_F(RsaAlgorithmTest, CorruptedCipherIsRefusedWithTheReasonOfOpenSsl)
{
    std::string cipher = m_Key.Encrypt("plain");
    cipher[100] = static_cast<char>(cipher[100] ^ 1);
    const Outcome refused = Decrypt(cipher, m_Private);
    EXPECT_EQ(refused.m_nLength, -1);
    EXPECT_EQ(refused.m_pOut, nullptr);
    EXPECT_EQ(m_Host.Logs(), Line(406,
                                  "[LocalRsaKeyMgr::RSA_private_decrypt] Call RSA_public_encrypt error:oaep "
                                  "decoding error"));
    EXPECT_EQ(ERR_peek_error(), 0u);
    ExpectRefused(m_Host, refused);
    ExpectRefused(m_Host, Decrypt(Hex(cipher), m_Private));
}

TEST_F(RsaAlgorithmTest, CipherOfAnotherKeyIsRefused)
{
    ExpectRefused(m_Host, Decrypt(KeyOf(1024).Encrypt("plain"), m_Private));
    ExpectRefused(m_Host, Decrypt(RsaKey(2048).Encrypt("plain"), m_Private));
}

TEST_F(RsaAlgorithmTest, InputOfEveryLengthThatIsNoWholeBlocksIsRefused)
{
    const std::string cipher = m_Key.Encrypt("plain") + m_Key.Encrypt("more") + m_Key.Encrypt("yet more");
    for (const std::size_t nBytes : {1u, 2u, 10u, 100u, 213u, 214u, 255u, 257u, 300u, 511u, 513u, 767u}) {
        SCOPED_TRACE(nBytes);
        ExpectRefused(m_Host, Decrypt(cipher.substr(0, nBytes), m_Private));
    }
}

TEST_F(RsaAlgorithmTest, TextCutShortIsRefused)
{
    const std::string text = Hex(m_Key.Encrypt("plain"));
    for (const std::size_t nDigits : {2u, 256u, 510u, 511u}) {
        SCOPED_TRACE(nDigits);
        ExpectRefused(m_Host, Decrypt(text.substr(0, nDigits), m_Private));
    }
}

TEST_F(RsaAlgorithmTest, OddCharacterBehindTheTextIsLoggedAndIgnored)
{
    const Outcome decrypted = Decrypt(Hex(m_Key.Encrypt("plain")) + "a", m_Private);
    EXPECT_EQ(decrypted.Text(), "plain");
    EXPECT_EQ(m_Host.Logs(), Line(175, "[AutoReleaseStrEx::fromHex] 0 != len % 2, len = 513"));
}

TEST_F(RsaAlgorithmTest, LineFeedBehindTheTextIsSuchACharacterTooButNotALineEndOfTwo)
{
    const std::string text = Hex(m_Key.Encrypt("plain"));
    EXPECT_EQ(Decrypt(text + "\n", m_Private).Text(), "plain");
    EXPECT_EQ(Decrypt(text + "\r\n", m_Private).m_nLength, -1);
}

TEST_F(RsaAlgorithmTest, TextWithARestIsRefusedAfterItsWholeBlocks)
{
    ExpectRefused(m_Host, Decrypt(Hex(m_Key.Encrypt("plain")) + "abcd", m_Private));
}

TEST_F(RsaAlgorithmTest, RefusedBlockReportsBoundedFunctionsThatFail)
{
    m_Host.FailMemcpy(1);
    m_Host.FailSnprintf(1);
    EXPECT_EQ(Decrypt("0123456789", m_Private).m_nLength, -1);
    ASSERT_EQ(m_Host.Logs().size(), 3u);
    EXPECT_EQ(m_Host.Logs()[0], (LogLine{"nbirsa", "unknown", 89, 1, "memcpy_s failed."}));
    EXPECT_EQ(m_Host.Logs()[1].m_nLine, 406);
    EXPECT_EQ(m_Host.Logs()[2], (LogLine{"nbirsa", "unknown", 144, 1, "snprintf_s failed."}));
}

TEST_F(RsaAlgorithmTest, ThreadsEncryptAndDecryptAtOnce)
{
    std::vector<std::thread> threads;
    std::vector<std::string> results(4);
    for (std::size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([this, i, &results] {
            const Outcome cipher = Encrypt(std::string(i + 1, 'p'), m_Public);
            results[i] = Decrypt(cipher.Text(), m_Private).Text();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(results, (std::vector<std::string>{"p", "pp", "ppp", "pppp"}));
}

// RsaEncryptByPublicKey

class RsaEncryptByPublicKeyTest : public RsaAlgorithmTest {
protected:
    RsaEncryptByPublicKeyTest() { m_In.setBuffer("secret"); }

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
    m_In.setBuffer("", 0);
    EXPECT_EQ(Run(m_In), 1);
    EXPECT_EQ(m_Out.length(), 512u);
}

TEST_F(RsaEncryptByPublicKeyTest, InputThatWasNeverSetGivesZero)
{
    m_Out.setBuffer("old");
    EXPECT_EQ(Run(AutoReleaseString()), 0);
    EXPECT_EQ(OutText(), "old");
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(RsaEncryptByPublicKeyTest, InputThatIsTooLongGivesZeroAndLeavesTheOutput)
{
    m_Out.setBuffer("old");
    m_In.setBuffer(std::string(215, 'x').c_str());
    EXPECT_EQ(Run(m_In), 0);
    EXPECT_EQ(OutText(), "old");
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 313).size(), 1u);
}

TEST_F(RsaEncryptByPublicKeyTest, KeyThatDoesNotParseGivesOneAndLeavesTheOutput)
{
    m_Out.setBuffer("old");
    EXPECT_EQ(RsaAlgorithm::RsaEncryptByPublicKey(m_Out, m_In, "\x02\x01\x00", 3), 1);
    EXPECT_EQ(OutText(), "old");
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
