// Secrets that were enciphered for the local key pair.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "nbiutil/conversions.h"
#include "nbiutil/securebuffer.h"
#include "security/localkeytesting.h"
#include "support/rsakey.h"

namespace NS_UTIL {
namespace {

using nbitest::RsaKey;
using ::testing::IsEmpty;

class DecryptByLocalRsaKeyTest : public nbitest::LocalKeyTest {
protected:
    DecryptByLocalRsaKeyTest() { EXPECT_EQ(m_Out.setBuffer("old"), 0); }

    int Run(const std::string& cipher)
    {
        return m_Manager.DecryptByLocalRsaKey(m_Out, cipher.data(), static_cast<long>(cipher.size()));
    }

    std::string OutText() const { return std::string(m_Out.getBuffer(), m_Out.length()); }

    AutoReleaseString m_Out;
};

TEST_F(DecryptByLocalRsaKeyTest, ReadsWhatOpenSslEncryptedForThePublicKey)
{
    ASSERT_EQ(m_Manager.Init(), 1);
    const std::string cipher = RsaKey(PublicDer()).Encrypt("a secret");
    EXPECT_EQ(Run(cipher), 1);
    EXPECT_EQ(OutText(), "a secret");
    ASSERT_EQ(m_Out.setBuffer("old"), 0);
    EXPECT_EQ(Run(ByteToHex(cipher.data(), static_cast<int>(cipher.size()))), 1);
    EXPECT_EQ(OutText(), "a secret");
    EXPECT_THAT(m_Host.Logs(), IsEmpty());
}

TEST_F(DecryptByLocalRsaKeyTest, EmptySecretIsASecret)
{
    ASSERT_EQ(m_Manager.Init(), 1);
    EXPECT_EQ(Run(RsaKey(PublicDer()).Encrypt("")), 1);
    EXPECT_EQ(OutText(), "");
}

TEST_F(DecryptByLocalRsaKeyTest, WithoutAKeyPairTheResultIsZero)
{
    EXPECT_EQ(Run("anything"), 0);
    EXPECT_EQ(OutText(), "old");
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_Text, "[LocalRsaKeyMgr::DecryptByLocalRsaKey] private key is null");
}

TEST_F(DecryptByLocalRsaKeyTest, ForeignCipherTextGivesZeroAndLeavesTheOutput)
{
    ASSERT_EQ(m_Manager.Init(), 1);
    EXPECT_EQ(Run(RsaKey(2048).Encrypt("a secret")), 0);
    EXPECT_EQ(Run("short"), 0);
    EXPECT_EQ(Run(""), 0);
    EXPECT_EQ(m_Manager.DecryptByLocalRsaKey(m_Out, nullptr, 256), 0);
    EXPECT_EQ(m_Manager.DecryptByLocalRsaKey(m_Out, "x", -1), 0);
    EXPECT_EQ(OutText(), "old");
}

TEST_F(DecryptByLocalRsaKeyTest, PrivateKeyThatDoesNotDecipherGivesZero)
{
    ASSERT_EQ(m_Manager.Init(), 1);
    m_Host.SetDecryptResult(1);
    EXPECT_EQ(Run(RsaKey(PublicDer()).Encrypt("a secret")), 0);
    EXPECT_EQ(OutText(), "old");
}

TEST_F(DecryptByLocalRsaKeyTest, PrivateKeyThatDoesNotParseGivesZero)
{
    ASSERT_EQ(m_Manager.Init(), 1);
    const std::string cipher = RsaKey(PublicDer()).Encrypt("a secret");
    m_Host.SetDecryptedText("not a key");
    EXPECT_EQ(Run(cipher), 0);
    EXPECT_EQ(OutText(), "old");
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 374).size(), 1u);
}

TEST_F(DecryptByLocalRsaKeyTest, FailedCopyGivesZero)
{
    ASSERT_EQ(m_Manager.Init(), 1);
    const std::string cipher = RsaKey(PublicDer()).Encrypt("a secret");
    m_Host.FailMemcpy(1);
    EXPECT_EQ(Run(cipher), 0);
}

TEST_F(DecryptByLocalRsaKeyTest, ThreadsDecryptAtOnce)
{
    ASSERT_EQ(m_Manager.Init(), 1);
    const std::string cipher = RsaKey(PublicDer()).Encrypt("a secret");
    std::vector<std::string> results(4);
    std::vector<std::thread> threads;
    threads.reserve(results.size());
    for (std::string& result : results) {
        threads.emplace_back([&] {
            AutoReleaseString out;
            EXPECT_EQ(m_Manager.DecryptByLocalRsaKey(out, cipher.data(), static_cast<long>(cipher.size())),
                      1);
            result.assign(out.getBuffer(), out.length());
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(results, ::testing::Each("a secret"));
}

}  // namespace
}  // namespace NS_UTIL
