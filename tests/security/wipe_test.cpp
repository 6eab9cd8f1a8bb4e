// Looks for secrets in freed memory. Optimisers drop stores to memory that is about to go, so this means most
// in the optimised builds.
#include "base/wipe.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"
#include "security/opensslheap.h"
#include "security/privateneedles.h"
#include "support/heapwatch.h"
#include "support/rsakey.h"
#include "support/stackwatch.h"

namespace NS_UTIL {
namespace {

using nbitest::HeapWatch;
using nbitest::PrivateNeedles;
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
        EXPECT_THROW(static_cast<void>(text.setBuffer("x", 0xFFFFFFFFU)), std::bad_alloc);
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
    void SetUp() override { ASSERT_TRUE(nbitest::g_bOpenSslOnTheWatchedHeap); }
    ~LocalKeyWipeTest() override { LocalRsaKeyMgr::Destroy(); }

    std::vector<std::string> Needles() const { return PrivateNeedles(m_Host.LastEnciphered()); }

    void ExpectNoKeyIn(HeapWatch& watch) const
    {
        watch.Stop();
        for (const std::string& needle : Needles()) EXPECT_EQ(watch.Sightings(needle), 0);
    }

    static std::string Cipher()
    {
        LocalRsaKeyMgr& manager = *LocalRsaKeyMgr::Instance();
        const auto nLength = static_cast<std::size_t>(manager.GetLocalRsaPublicKeyLen());
        return RsaKey(std::string(manager.GetLocalRsaPublicKey(), nLength)).Encrypt(SECRET);
    }
};

TEST_F(LocalKeyWipeTest, NeedlesAreFoundWhereTheKeyIsPlain)
{
    const std::string plain = RsaKey(2048).Private();
    int nFound = 0;
    for (const std::string& needle : PrivateNeedles(plain)) {
        if (plain.find(needle) != std::string::npos) ++nFound;
    }
    EXPECT_EQ(nFound, 3) << "private exponent and two primes";
    const HeapWatch watch;
    std::make_unique<std::string>(plain).reset();
    EXPECT_GE(watch.Sightings(PrivateNeedles(plain)[0]), 1);
}

TEST_F(LocalKeyWipeTest, NoFreedBlockHoldsThePlainPrivateKey)
{
    HeapWatch watch;
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->CheckLocalRsaKey(), 1);
    ExpectNoKeyIn(watch);
}

TEST_F(LocalKeyWipeTest, NoFreedBlockHoldsKeyOrSecretAfterADecryption)
{
    ASSERT_EQ(LocalRsaKeyMgr::Instance()->Init(), 1);
    const std::string cipher = Cipher();
    HeapWatch watch;
    {
        AutoReleaseString out;
        ASSERT_EQ(LocalRsaKeyMgr::Instance()->DecryptByLocalRsaKey(out, cipher.data(),
                                                                   static_cast<long>(cipher.size())),
                  1);
    }
    ExpectNoKeyIn(watch);
    EXPECT_EQ(watch.Sightings(SECRET), 0);
}

TEST_F(LocalKeyWipeTest, NoStackHoldsThePlainPrivateKey)
{
    const nbitest::StackWatch watch([] { LocalRsaKeyMgr::Instance()->Init(); });
    for (const std::string& needle : Needles()) EXPECT_FALSE(watch.Holds(needle));
}

}  // namespace
}  // namespace NS_UTIL
