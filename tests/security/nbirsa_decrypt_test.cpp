// RsaAlgorithm::Decrypt()
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "nbiutil/nbirsa.h"
#include "security/rsatesting.h"
#include "support/guardedbytes.h"

namespace {

/// While it lives, arrays that this thread makes are guarded: what goes beyond one ends the program,
/// OpenSSL's writing included.
class GuardedArrays {
public:
    GuardedArrays() { t_bOn = true; }
    ~GuardedArrays() { t_bOn = false; }
    GuardedArrays(const GuardedArrays&) = delete;
    GuardedArrays& operator=(const GuardedArrays&) = delete;

    static bool IsOn() { return t_bOn; }

    /// How many there are.
    static long Count()
    {
        const Table& slots = Slots();
        return std::count_if(slots.begin(), slots.end(), [](const auto* pSlot) { return pSlot != nullptr; });
    }

    static void* Make(std::size_t nSize)
    {
        for (auto& pSlot : Slots()) {
            if (pSlot != nullptr) continue;
            pSlot = new nbitest::GuardedBytes(nSize);
            return pSlot->Get();
        }
        throw std::bad_alloc();
    }

    /// \return false when \p pArray is none of Make()'s.
    static bool Take(void* pArray)
    {
        for (auto& pSlot : Slots()) {
            if (pSlot == nullptr || pSlot->Get() != pArray) continue;
            delete std::exchange(pSlot, nullptr);
            return true;
        }
        return false;
    }

private:
    using Table = std::array<nbitest::GuardedBytes*, 16>;
    static Table& Slots()
    {
        static thread_local Table slots{};
        return slots;
    }
    static thread_local bool t_bOn;
};
thread_local bool GuardedArrays::t_bOn = false;

}  // namespace

// Not inlined: the compiler would take the malloc() in one for a mismatch with the other.
[[gnu::noinline]] void* operator new[](std::size_t nSize, const std::nothrow_t&) noexcept
{
    return std::malloc(nSize > 0 ? nSize : 1);
}
[[gnu::noinline]] void* operator new[](std::size_t nSize)
{
    if (GuardedArrays::IsOn()) return GuardedArrays::Make(nSize);
    if (void* const pArray = operator new[](nSize, std::nothrow)) return pArray;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete[](void* pArray) noexcept
{
    if (!GuardedArrays::Take(pArray)) std::free(pArray);
}
[[gnu::noinline]] void operator delete[](void* pArray, std::size_t) noexcept
{
    operator delete[](pArray);
}

namespace NS_UTIL {
namespace {

using nbitest::Decrypt;
using nbitest::Encrypt;
using nbitest::GuardedBytes;
using nbitest::Hex;
using nbitest::KeyOf;
using nbitest::LogLine;
using nbitest::RecordingHost;
using nbitest::RsaKey;
using nbitest::RsaOutcome;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using Lines = std::vector<LogLine>;

class DecryptTest : public nbitest::RsaFixture {};

TEST_F(DecryptTest, RawInputOfSeveralBlocksIsJoined)
{
    const std::string plain = std::string(214, 'a') + "and the rest";
    const RsaOutcome decrypted =
        Decrypt(m_Key.Encrypt(plain.substr(0, 214)) + m_Key.Encrypt(plain.substr(214)), m_Private);
    ASSERT_EQ(decrypted.m_nLength, static_cast<long>(plain.size()));
    EXPECT_EQ(decrypted.Text(), plain);
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(DecryptTest, TextOfSeveralBlocksIsJoined)
{
    const std::string cipher = m_Key.Encrypt("one") + m_Key.Encrypt("two") + m_Key.Encrypt("three");
    EXPECT_EQ(Decrypt(Hex(cipher), m_Private).Text(), "onetwothree");
}

TEST_F(DecryptTest, BlockThatHoldsNothingIsASuccess)
{
    const RsaOutcome decrypted = Decrypt(m_Key.Encrypt(""), m_Private);
    EXPECT_EQ(decrypted.m_nLength, 0);
    ASSERT_NE(decrypted.m_pOut, nullptr);
    EXPECT_EQ(decrypted.m_pOut[0], '\0');
    EXPECT_EQ(Decrypt(m_Key.Encrypt("") + m_Key.Encrypt("x"), m_Private).Text(), "x");
}

TEST_F(DecryptTest, DecryptReleasesTheOldOutput)
{
    const std::string cipher = m_Key.Encrypt("plain");
    char* pOut = new char[7];
    long nLength = 256;
    RsaAlgorithm::Decrypt(pOut, cipher.data(), nLength, m_Private.data(), static_cast<int>(m_Private.size()));
    const std::unique_ptr<char[]> pOwner(pOut);
    ASSERT_EQ(nLength, 5);
    EXPECT_STREQ(pOut, "plain");
}

TEST_F(DecryptTest, DecryptReadsAnInputThatIsTheOldOutput)
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

TEST_F(DecryptTest, DecryptWithAMissingArgumentGivesMinusOneAndLeavesTheOutput)
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

TEST_F(DecryptTest, ErrorsOfOthersAreNotReported)
{
    const auto Reported = [this](const std::string& cipher, const std::string& key) {
        m_Host.ClearLogs();
        ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);
        Decrypt(cipher, key);
        EXPECT_EQ(ERR_peek_error(), 0u) << "the next user of OpenSSL takes this for a failure of its own";
        return m_Host.Logs().empty() ? "" : m_Host.Logs()[0].m_Text;
    };
    EXPECT_THAT(Reported("0123456789", std::string("\x02\x01\x00", 3)), EndsWith("error:wrong tag"));
    std::string cipher = m_Key.Encrypt("plain");
    cipher[0] = '\0';
    EXPECT_THAT(Reported(cipher, m_Private), EndsWith("error:oaep decoding error"));
}

TEST_F(DecryptTest, PrivateKeyThatDoesNotParseLeavesZerosOfTheInputsLength)
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

/// A key that is there is read, however short; what comes of a missing one is another.
TEST_F(DecryptTest, PrivateKeyOfOneByteDoesNotParseEither)
{
    char* pOut = nullptr;
    long nLength = 1;
    RsaAlgorithm::Decrypt(pOut, "0", nLength, "\x30", 1);
    const std::unique_ptr<char[]> pOwner(pOut);
    EXPECT_EQ(nLength, 1);
    ASSERT_NE(pOut, nullptr);
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 374).size(), 1u);
}

void ExpectRefused(RecordingHost& host, const RsaOutcome& refused)
{
    EXPECT_EQ(refused.m_nLength, -1);
    EXPECT_EQ(refused.m_pOut, nullptr);
    const Lines lines = host.LogsAt("nbirsa", 406);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(
        lines[0].m_Text,
        MatchesRegex("\\[LocalRsaKeyMgr::RSA_private_decrypt\\] Call RSA_public_encrypt error:[a-z ]+"))
        << "the reason is missing";
    host.ClearLogs();
}

TEST_F(DecryptTest, CorruptedCipherIsRefusedWithTheReasonOfOpenSsl)
{
    std::string cipher = m_Key.Encrypt("plain");
    cipher[100] = static_cast<char>(cipher[100] ^ 1);
    const RsaOutcome refused = Decrypt(cipher, m_Private);
    EXPECT_EQ(refused.m_nLength, -1);
    EXPECT_EQ(refused.m_pOut, nullptr);
    EXPECT_EQ(m_Host.Logs(), Line(406,
                                  "[LocalRsaKeyMgr::RSA_private_decrypt] Call RSA_public_encrypt error:oaep "
                                  "decoding error"));
    EXPECT_EQ(ERR_peek_error(), 0u);
    ExpectRefused(m_Host, refused);
    ExpectRefused(m_Host, Decrypt(Hex(cipher), m_Private));
}

TEST_F(DecryptTest, CipherOfAnotherKeyIsRefused)
{
    ExpectRefused(m_Host, Decrypt(KeyOf(1024).Encrypt("plain"), m_Private));
    ExpectRefused(m_Host, Decrypt(RsaKey(2048).Encrypt("plain"), m_Private));
}

TEST_F(DecryptTest, InputOfEveryLengthThatIsNoWholeBlocksIsRefused)
{
    const std::string cipher = m_Key.Encrypt("plain") + m_Key.Encrypt("more") + m_Key.Encrypt("yet more");
    for (const std::size_t nBytes : {1u, 2u, 10u, 100u, 213u, 214u, 255u, 257u, 300u, 511u, 513u, 767u}) {
        SCOPED_TRACE(nBytes);
        ExpectRefused(m_Host, Decrypt(cipher.substr(0, nBytes), m_Private));
    }
}

TEST_F(DecryptTest, InputShorterThanABlockIsRefusedByOpenSslItself)
{
    for (const std::size_t nBytes : {1u, 2u, 255u}) {
        SCOPED_TRACE(nBytes);
        m_Host.ClearLogs();
        EXPECT_EQ(Decrypt(std::string(nBytes, '\0'), m_Private).m_nLength, -1);
        EXPECT_EQ(m_Host.Logs(), Line(406,
                                      "[LocalRsaKeyMgr::RSA_private_decrypt] Call RSA_public_encrypt "
                                      "error:oaep decoding error"));
    }
}

TEST_F(DecryptTest, RestShorterThanABlockHasAReasonOfOpenSsl)
{
    ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);  // somebody else's, which must not be reported
    const RsaOutcome refused = Decrypt(m_Key.Encrypt("plain") + "rest", m_Private);
    EXPECT_EQ(refused.m_nLength, -1);
    EXPECT_EQ(m_Host.Logs(), Line(406,
                                  "[LocalRsaKeyMgr::RSA_private_decrypt] Call RSA_public_encrypt error:data "
                                  "too small"));
    EXPECT_EQ(ERR_peek_error(), 0u);
}

TEST_F(DecryptTest, NothingBehindTheInputIsRead)
{
    const std::string cipher = m_Key.Encrypt("plain") + m_Key.Encrypt("more");
    const auto LengthAfter = [&](std::size_t nBytes) {
        const GuardedBytes in(cipher.substr(0, nBytes));
        const GuardedArrays guardedArrays;
        char* pOut = nullptr;
        long nLength = static_cast<long>(nBytes);
        RsaAlgorithm::Decrypt(pOut, in.Get(), nLength, m_Private.data(), static_cast<int>(m_Private.size()));
        const std::unique_ptr<char[]> pOwner(pOut);
        return nLength;
    };
    for (const std::size_t nBytes : {1u, 100u, 255u, 257u, 300u, 511u}) EXPECT_EQ(LengthAfter(nBytes), -1);
    EXPECT_EQ(LengthAfter(256), 5);
    EXPECT_EQ(LengthAfter(512), 9);
}

TEST_F(DecryptTest, NothingBehindTheOutputIsWritten)
{
    const std::string cipher = m_Key.Encrypt(std::string(214, 'x'));
    const auto LengthAfter = [&](const std::string& in) {
        const GuardedArrays guardedArrays;
        return Decrypt(in, m_Private).m_nLength;
    };
    EXPECT_EQ(LengthAfter(cipher), 214);
    EXPECT_EQ(LengthAfter(Hex(cipher)), 214);
    EXPECT_EQ(LengthAfter(cipher + cipher), 428);
    for (const std::string& in : {std::string("short"), Hex("short"), cipher + "rest"}) {
        EXPECT_EQ(LengthAfter(in), -1);
    }
}

TEST_F(DecryptTest, BlocksBeforeTheRefusedOneAreGoneWhenTheRefusalIsLogged)
{
    const std::string cipher = m_Key.Encrypt("plain") + std::string(256, '\0');
    long nArrays = -1;
    m_Host.OnLogCalls([&nArrays] { nArrays = GuardedArrays::Count(); });
    {
        const GuardedArrays guardedArrays;
        EXPECT_EQ(Decrypt(cipher, m_Private).m_nLength, -1);
    }
    EXPECT_EQ(nArrays, 1) << "the cipher text alone";
}

TEST_F(DecryptTest, TextCutShortIsRefused)
{
    const std::string text = Hex(m_Key.Encrypt("plain"));
    for (const std::size_t nDigits : {2u, 256u, 510u, 511u}) {
        SCOPED_TRACE(nDigits);
        ExpectRefused(m_Host, Decrypt(text.substr(0, nDigits), m_Private));
    }
}

TEST_F(DecryptTest, OddCharacterBehindTheTextIsLoggedAndIgnored)
{
    const RsaOutcome decrypted = Decrypt(Hex(m_Key.Encrypt("plain")) + "a", m_Private);
    EXPECT_EQ(decrypted.Text(), "plain");
    EXPECT_EQ(m_Host.Logs(), Line(175, "[AutoReleaseStrEx::fromHex] 0 != len % 2, len = 513"));
}

TEST_F(DecryptTest, LineFeedBehindTheTextIsSuchACharacterTooButNotALineEndOfTwo)
{
    const std::string text = Hex(m_Key.Encrypt("plain"));
    EXPECT_EQ(Decrypt(text + "\n", m_Private).Text(), "plain");
    EXPECT_EQ(Decrypt(text + "\r\n", m_Private).m_nLength, -1);
}

TEST_F(DecryptTest, TextWithARestIsRefusedAfterItsWholeBlocks)
{
    ExpectRefused(m_Host, Decrypt(Hex(m_Key.Encrypt("plain")) + "abcd", m_Private));
}

TEST_F(DecryptTest, RefusedBlockReportsBoundedFunctionsThatFail)
{
    m_Host.FailMemcpy(1);
    m_Host.FailSnprintf(1);
    EXPECT_EQ(Decrypt("0123456789", m_Private).m_nLength, -1);
    ASSERT_EQ(m_Host.Logs().size(), 3u);
    EXPECT_EQ(m_Host.Logs()[0], (LogLine{"nbirsa", "unknown", 89, 1, "memcpy_s failed."}));
    EXPECT_EQ(m_Host.Logs()[1].m_nLine, 406);
    EXPECT_EQ(m_Host.Logs()[2], (LogLine{"nbirsa", "unknown", 144, 1, "snprintf_s failed."}));
}

TEST_F(DecryptTest, ThreadsEncryptAndDecryptAtOnce)
{
    std::vector<std::thread> threads;
    std::vector<std::string> results(4);
    for (std::size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([this, i, &results] {
            const RsaOutcome cipher = Encrypt(std::string(i + 1, 'p'), m_Public);
            results[i] = Decrypt(cipher.Text(), m_Private).Text();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(results, (std::vector<std::string>{"p", "pp", "ppp", "pppp"}));
}

}  // namespace
}  // namespace NS_UTIL
