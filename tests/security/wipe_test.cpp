// Looks for secrets in freed memory. Optimisers drop stores to memory that is about to go, so this means most
// in the optimised builds.
#include "base/wipe.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"
#include "support/heapwatch.h"
#include "support/recordinghost.h"
#include "support/rsakey.h"
#include "support/stackwatch.h"

namespace NS_UTIL {
namespace {

using nbitest::HeapWatch;
using nbitest::RecordingHost;
using nbitest::RsaKey;

const std::string SECRET = "correct horse battery staple, and a few bytes more";

class WipeTest : public ::testing::Test {
protected:
    RecordingHost m_Host;
};

TEST_F(WipeTest, WatchSeesASecretThatIsNotWiped)
{
    const HeapWatch watch;
    std::make_unique<std::string>(SECRET).reset();
    EXPECT_EQ(watch.Sightings(SECRET), 1);
}

TEST_F(WipeTest, AutoReleaseStringWipesAtItsEnd)
{
    auto pText = std::make_unique<AutoReleaseString>();
    ASSERT_EQ(pText->setBuffer(SECRET.c_str()), 0);
    const HeapWatch watch;
    pText.reset();
    EXPECT_EQ(watch.Sightings(SECRET), 0);
    EXPECT_GE(watch.Sightings(std::string(SECRET.size(), '\0')), 1) << "the buffer was not freed";
}

TEST_F(WipeTest, AutoReleaseStringWipesWhatIsReplaced)
{
    AutoReleaseString text;
    ASSERT_EQ(text.setBuffer(SECRET.c_str()), 0);
    const HeapWatch watch;
    ASSERT_EQ(text.setBuffer("something else"), 0);
    EXPECT_EQ(watch.Sightings(SECRET), 0);
    EXPECT_EQ(watch.Sightings(std::string(SECRET.size(), '\0')), 1) << "the buffer was not freed";
}

TEST_F(WipeTest, AutoReleaseStringWipesItsOwnPartAsSource)
{
    AutoReleaseString text;
    ASSERT_EQ(text.setBuffer((SECRET + SECRET).c_str()), 0);
    const HeapWatch watch;
    ASSERT_EQ(text.setBuffer(text.getBuffer() + 4), 0);
    EXPECT_EQ(watch.Sightings(SECRET), 0);
}

TEST_F(WipeTest, AutoReleaseStringWipesWhenTheNewBufferCannotBeHad)
{
    AutoReleaseString text;
    ASSERT_EQ(text.setBuffer(SECRET.c_str()), 0);
    const HeapWatch watch;
    {
        const nbitest::AllocationLimit limit(0xFFFFFFFFU);
        EXPECT_THROW(text.setBuffer("x", 0xFFFFFFFFU), std::bad_alloc);
        EXPECT_EQ(limit.Refused(), std::size_t{0x100000000U}) << "the size wrapped around";
    }
    EXPECT_EQ(watch.Sightings(SECRET), 0);
    EXPECT_EQ(text.getBuffer(), nullptr);
    EXPECT_EQ(text.length(), 0u);
}

TEST_F(WipeTest, PwdCtrlStringMasksAtItsEnd)
{
    auto pPassword = std::make_unique<PwdCtrlString>();
    pPassword->SetStr(SECRET);
    const HeapWatch watch;
    pPassword.reset();
    EXPECT_EQ(watch.Sightings(SECRET), 0);
    EXPECT_EQ(watch.Sightings(std::string(SECRET.size(), '*')), 1) << "the text was not freed";
}

TEST_F(WipeTest, PwdCtrlStringMasksWhatIsReplaced)
{
    PwdCtrlString password;
    password.SetStr(SECRET);
    const std::string longer(10 * SECRET.size(), 'x');
    const HeapWatch watch;
    password.SetStr(longer);
    EXPECT_EQ(watch.Sightings(SECRET), 0);
    EXPECT_EQ(watch.Sightings(std::string(SECRET.size(), '*')), 1) << "the text was not freed";
}

TEST_F(WipeTest, ClearedTextIsMaskedWhenItIsFreed)
{
    auto pText = std::make_unique<std::string>(SECRET);
    const HeapWatch watch;
    PwdCtrlString::ClearStr(*pText);
    pText.reset();
    EXPECT_EQ(watch.Sightings(SECRET), 0);
    EXPECT_EQ(watch.Sightings(std::string(SECRET.size(), '*')), 1) << "the text was not freed";
}

TEST_F(WipeTest, RefusedDecryptionWipesTheBlocksBeforeTheRefusedOne)
{
    const RsaKey key(1024);
    const std::string privateKey = key.Private();
    const std::string cipher = key.Encrypt(SECRET) + std::string(128, 'x');
    char* pOut = nullptr;
    long nLength = static_cast<long>(cipher.size());
    const HeapWatch watch;
    RsaAlgorithm::Decrypt(pOut, cipher.data(), nLength, privateKey.data(),
                          static_cast<int>(privateKey.size()));
    EXPECT_EQ(nLength, -1);
    EXPECT_EQ(watch.Sightings(SECRET), 0);
}

/// The process's key pair, with what only the plain private key contains.
class LocalKeyWipeTest : public WipeTest {
protected:
    ~LocalKeyWipeTest() override { LocalRsaKeyMgr::Destroy(); }

    /// The private key's version number before the modulus. The public key has the modulus too, without it.
    static std::string PrivateBytes()
    {
        const char* const pDer = LocalRsaKeyMgr::Instance()->GetLocalRsaPublicKey();
        const std::string modulus(pDer + 4, 40);  // behind the sequence's own header
        return std::string("\x02\x01\x00", 3) + modulus;
    }

    static std::string Cipher()
    {
        LocalRsaKeyMgr& manager = *LocalRsaKeyMgr::Instance();
        const auto nLength = static_cast<std::size_t>(manager.GetLocalRsaPublicKeyLen());
        return RsaKey(std::string(manager.GetLocalRsaPublicKey(), nLength)).Encrypt(SECRET);
    }
};

TEST_F(LocalKeyWipeTest, PrivateBytesAreFoundWhereTheKeyIsPlain)
{
    const RsaKey key(2048);
    const std::string publicKey = key.Public();
    EXPECT_NE(key.Private().find(std::string("\x02\x01\x00", 3) + publicKey.substr(4, 40)),
              std::string::npos);
}

TEST_F(LocalKeyWipeTest, NoFreedBlockHoldsThePlainPrivateKey)
{
    const HeapWatch watch;
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->CheckLocalRsaKey(), 1);
    EXPECT_EQ(watch.Sightings(PrivateBytes()), 0);
}

TEST_F(LocalKeyWipeTest, NoFreedBlockHoldsKeyOrSecretAfterADecryption)
{
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    const std::string cipher = Cipher();
    const HeapWatch watch;
    {
        AutoReleaseString out;
        ASSERT_EQ(LocalRsaKeyMgr::Instance()->DecryptByLocalRsaKey(out, cipher.data(),
                                                                   static_cast<long>(cipher.size())),
                  1);
    }
    EXPECT_EQ(watch.Sightings(PrivateBytes()), 0);
    EXPECT_EQ(watch.Sightings(SECRET), 0);
}

TEST_F(LocalKeyWipeTest, NoStackHoldsThePlainPrivateKey)
{
    const nbitest::StackWatch watch([] { LocalRsaKeyMgr::Instance()->Init(); });
    EXPECT_FALSE(watch.Holds(PrivateBytes()));
}

}  // namespace
}  // namespace NS_UTIL
