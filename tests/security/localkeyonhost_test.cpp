// The local key pair on the standalone host: its cipher keeps the private key.
#include <gtest/gtest.h>

#include <string>

#include "nbihost/standalone.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"
#include "support/norandombytes.h"
#include "support/rsakey.h"
#include "support/testdirectory.h"

namespace NS_UTIL {
namespace {

using nbitest::RsaKey;

class LocalKeyOnHostTest : public ::testing::Test {
protected:
    LocalKeyOnHostTest()
        : m_Host(m_Dir.Add("host.ini", "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n"))
    {
        m_Host.Start();
    }
    ~LocalKeyOnHostTest() override { LocalRsaKeyMgr::Destroy(); }

    static RsaKey PublicKey()
    {
        LocalRsaKeyMgr& manager = *LocalRsaKeyMgr::Instance();
        return RsaKey(std::string(manager.GetLocalRsaPublicKey(),
                                  static_cast<std::size_t>(manager.GetLocalRsaPublicKeyLen())));
    }

    nbitest::TestDirectory m_Dir;
    nbihost::Host m_Host;
};

TEST_F(LocalKeyOnHostTest, SecretOfAClientReachesTheServer)
{
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    const std::string cipher = PublicKey().Encrypt("a secret");
    AutoReleaseString out;
    EXPECT_EQ(LocalRsaKeyMgr::Instance()->DecryptByLocalRsaKey(out, cipher.data(),
                                                               static_cast<long>(cipher.size())),
              1);
    EXPECT_STREQ(out.getBuffer(), "a secret");
    EXPECT_EQ(m_Dir.Text("log"), "");
}

TEST_F(LocalKeyOnHostTest, DestroyAndInitStartOverWhenTheCipherHadNoRandomBytes)
{
    const auto IsKeyOrNonce = [](int nBytes) { return nBytes == 32 || nBytes == 12; };
    {
        const nbitest::NoRandomBytes noCipher(IsKeyOrNonce);
        EXPECT_EQ(LocalRsaKeyMgr::Instance()->Init(), 0);
    }
    const std::string why = "Call encrypt Fail. ErrCode=:, res<" + std::to_string(nbihost::CIPHER_NO_RANDOM);
    EXPECT_NE(m_Dir.Text("log").find(why), std::string::npos) << m_Dir.Text("log");
    LocalRsaKeyMgr::Destroy();
    EXPECT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
}

TEST_F(LocalKeyOnHostTest, LogNamesNoSecretWhenACipherTextIsRefused)
{
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    std::string cipher = RsaKey(2048).Encrypt("a secret");
    cipher[0] = '\0';  // below every modulus of that size, or now and then another error comes first
    AutoReleaseString out;
    EXPECT_EQ(LocalRsaKeyMgr::Instance()->DecryptByLocalRsaKey(out, cipher.data(),
                                                               static_cast<long>(cipher.size())),
              0);
    const std::string log = m_Dir.Text("log");
    EXPECT_NE(
        log.find("[LocalRsaKeyMgr::RSA_private_decrypt] Call RSA_public_encrypt error:oaep decoding error"),
        std::string::npos);
    EXPECT_EQ(log.find("a secret"), std::string::npos);
}

TEST_F(LocalKeyOnHostTest, EncryptByTheLocalKeyNeedsNoKeyOfTheCaller)
{
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    AutoReleaseString in;
    AutoReleaseString out;
    ASSERT_EQ(in.setBuffer("a secret"), 0);
    EXPECT_EQ(RsaAlgorithm::RsaEncryptByPublicKey(out, in, nullptr, 0), 1);
    EXPECT_EQ(out.length(), 512u);
}

}  // namespace
}  // namespace NS_UTIL
