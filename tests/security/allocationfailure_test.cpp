// Every allocation of every operation that holds a secret fails in turn, OpenSSL's included, and no block
// that was freed on the way still holds the secret.
#include <gtest/gtest.h>
#include <string.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"
#include "nbiutil/user.h"
#include "security/keytomake.h"
#include "security/opensslheap.h"
#include "security/privateneedles.h"
#include "support/heapwatch.h"
#include "support/rsakey.h"

namespace NS_UTIL {
namespace {

using nbitest::FailEachAllocation;
using nbitest::HeapWatch;
using nbitest::KeyToMake;
using nbitest::PrivateNeedles;
using nbitest::RecordingHost;
using nbitest::RsaKey;

const std::string LONG_SECRET = "correct horse battery staple, and a few bytes more";
const std::string SHORT_SECRET = "s3cr3t, short";  // inside a text object
const std::string LONG_TEXT(200, 'x');

class AllocationFailureTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(nbitest::g_bOpenSslOnTheWatchedHeap); }
    ~AllocationFailureTest() override { LocalRsaKeyMgr::Destroy(); }

    static void ExpectNoSighting(const HeapWatch& watch, const std::vector<std::string>& needles)
    {
        for (const std::string& needle : needles) EXPECT_EQ(watch.Sightings(needle), 0);
    }

    /// Lets \p work fail at each of its allocations.
    /// \return how often
    static int FailEach(const std::function<void()>& work, const std::vector<std::string>& needles)
    {
        int nTimes = 0;
        auto pWatch = std::make_unique<HeapWatch>();
        FailEachAllocation(work, [&] {
            ExpectNoSighting(*pWatch, needles);
            pWatch.reset();
            pWatch = std::make_unique<HeapWatch>();
            ++nTimes;
        });
        return nTimes - 1;  // the last one had no failure
    }

    RecordingHost m_Host;
};

TEST_F(AllocationFailureTest, EveryAllocationFailsInTurn)
{
    const auto AllocateTwice = [] {
        operator delete(operator new(1));  // an expression with new could be left out
        operator delete(operator new(2));
    };
    EXPECT_EQ(FailEach(AllocateTwice, {}), 2);
}

/// Of either length: a short password lies inside its object, a long one in a block of its own.
class PasswordAllocationTest : public AllocationFailureTest,
                               public ::testing::WithParamInterface<std::string> {};
INSTANTIATE_TEST_SUITE_P(Lengths, PasswordAllocationTest, ::testing::Values(SHORT_SECRET, LONG_SECRET));

TEST_P(PasswordAllocationTest, UserParaMadeOfTexts)
{
    const std::string& secret = GetParam();
    const auto FromSix = [&] {
        std::make_unique<UserPara>(LONG_TEXT, LONG_TEXT, LONG_TEXT, secret, LONG_TEXT, LONG_TEXT);
    };
    EXPECT_GE(FailEach(FromSix, {secret}), 6);
    const std::string address = LONG_TEXT + ":" + LONG_TEXT;
    const auto FromFive = [&] {
        std::make_unique<UserPara>(LONG_TEXT, LONG_TEXT, LONG_TEXT, secret, address);
    };
    EXPECT_GE(FailEach(FromFive, {secret}), 6);
}

TEST_P(PasswordAllocationTest, UserParaMadeOfAnotherRecord)
{
    const std::string& secret = GetParam();
    const UserPara para(LONG_TEXT, LONG_TEXT, LONG_TEXT, secret, LONG_TEXT, LONG_TEXT);
    EXPECT_GE(FailEach([&] { std::make_unique<UserPara>(para); }, {secret}), 6);
    User user;
    user.SetPwd(secret);
    user.SetIP(LONG_TEXT);
    user.SetPort(LONG_TEXT);
    EXPECT_GE(FailEach([&] { std::make_unique<UserPara>(user); }, {secret}), 3);
}

TEST_P(PasswordAllocationTest, UserParaThatIsAssignedTo)
{
    const std::string& secret = GetParam();
    const UserPara para(LONG_TEXT, LONG_TEXT, LONG_TEXT, secret, LONG_TEXT, LONG_TEXT);
    const auto Assign = [&] {
        auto pCopy = std::make_unique<UserPara>();
        *pCopy = para;
    };
    EXPECT_GE(FailEach(Assign, {secret}), 6);
}

TEST_P(PasswordAllocationTest, UserParaThatGetsANewPassword)
{
    const std::string& secret = GetParam();
    const auto Replace = [&] {
        auto pPara = std::make_unique<UserPara>();
        pPara->SetPwd(secret);
        pPara->SetPwd(LONG_TEXT);
        pPara->SetPwd(secret);
    };
    EXPECT_GE(FailEach(Replace, {secret}), 2);
}

TEST_P(PasswordAllocationTest, PwdCtrlString)
{
    const std::string& secret = GetParam();
    const auto Replace = [&] {
        auto pHeld = std::make_unique<PwdCtrlString>();
        pHeld->SetStr(secret);
        pHeld->SetStr(LONG_TEXT);
        pHeld->SetStr(secret);
    };
    EXPECT_GE(FailEach(Replace, {secret}), 2);
}

TEST_P(PasswordAllocationTest, AutoReleaseString)
{
    const std::string& secret = GetParam();
    const auto Replace = [&] {
        auto pHeld = std::make_unique<AutoReleaseString>();
        EXPECT_EQ(pHeld->setBuffer(secret.c_str()), 0);
        EXPECT_EQ(pHeld->setBuffer(LONG_TEXT.c_str()), 0);
        EXPECT_EQ(pHeld->setBuffer(secret.c_str()), 0);
    };
    EXPECT_EQ(FailEach(Replace, {secret}), 4);
}

TEST_F(AllocationFailureTest, Encrypt)
{
    const std::string key = RsaKey(1024).Public();
    AutoReleaseString in;
    ASSERT_EQ(in.setBuffer(LONG_SECRET.c_str()), 0);
    const auto Run = [&] {
        AutoReleaseString out;
        RsaAlgorithm::RsaEncryptByPublicKey(out, in, key.data(), static_cast<int>(key.size()));
    };
    EXPECT_GE(FailEach(Run, {LONG_SECRET}), 10);
}

/// What decrypting \p cipher leaves is wiped, like the caller of Decrypt() has to.
void DecryptAndWipe(const std::string& cipher, const std::string& key)
{
    char* pOut = nullptr;
    long nLength = static_cast<long>(cipher.size());
    RsaAlgorithm::Decrypt(pOut, cipher.data(), nLength, key.data(), static_cast<int>(key.size()));
    const std::unique_ptr<char[]> pPlain(pOut);
    if (nLength > 0) explicit_bzero(pOut, static_cast<std::size_t>(nLength));
}

TEST_F(AllocationFailureTest, Decrypt)
{
    const RsaKey key(1024);
    const std::string privateKey = key.Private();
    const std::string cipher = key.Encrypt(LONG_SECRET);
    const std::vector<std::string> needles = PrivateNeedles(privateKey, {LONG_SECRET});
    EXPECT_GE(FailEach([&] { DecryptAndWipe(cipher, privateKey); }, needles), 10);
    EXPECT_GE(FailEach([&] { DecryptAndWipe(cipher + cipher + "rest", privateKey); }, needles), 10);
}

TEST_F(AllocationFailureTest, NothingIsLeftOverBehindSuccessAndFailure)
{
    const RsaKey key(1024);
    const std::string publicKey = key.Public();
    const std::string privateKey = key.Private();
    const std::string cipher = key.Encrypt(LONG_SECRET);
    const auto RunAll = [&] {
        for (const std::string& plain : {LONG_SECRET, LONG_TEXT}) {
            for (const std::string& der : {publicKey, LONG_TEXT}) {
                char* pOut = nullptr;
                long nLength = static_cast<long>(plain.size());
                RsaAlgorithm::Encrypt(pOut, plain.data(), nLength, der.data(), static_cast<int>(der.size()));
                const std::unique_ptr<char[]> pCipher(pOut);
            }
        }
        for (const std::string& in : {cipher, cipher + "rest", LONG_TEXT}) {
            for (const std::string& der : {privateKey, LONG_TEXT}) DecryptAndWipe(in, der);
        }
        m_Host.ClearLogs();
    };
    RunAll();  // what OpenSSL keeps for itself
    const long nBefore = nbitest::LiveAllocations();
    RunAll();
    EXPECT_EQ(nbitest::LiveAllocations(), nBefore);
}

class LocalKeyAllocationTest : public AllocationFailureTest {
protected:
    const std::string m_PrivateKey = RsaKey(2048).Private();
    const KeyToMake m_KeyToMake{m_PrivateKey};
};

TEST_F(LocalKeyAllocationTest, RsaKeyPairGen)
{
    const auto Run = [] {
        LocalRsaKeyMgr::Destroy();
        LocalRsaKeyMgr::Instance()->RsaKeyPairGen();
    };
    EXPECT_GE(FailEach(Run, PrivateNeedles(m_PrivateKey)), 20);
    EXPECT_EQ(LocalRsaKeyMgr::Instance()->CheckLocalRsaKey(), 1);
}

TEST_F(LocalKeyAllocationTest, CheckLocalRsaKey)
{
    LocalRsaKeyMgr& manager = *LocalRsaKeyMgr::Instance();
    ASSERT_EQ(manager.Init(), 1);
    EXPECT_GE(FailEach([&] { manager.CheckLocalRsaKey(); }, PrivateNeedles(m_PrivateKey)), 10);
}

TEST_F(LocalKeyAllocationTest, DecryptByLocalRsaKey)
{
    LocalRsaKeyMgr& manager = *LocalRsaKeyMgr::Instance();
    ASSERT_EQ(manager.Init(), 1);
    const std::string publicKey(manager.GetLocalRsaPublicKey(),
                                static_cast<std::size_t>(manager.GetLocalRsaPublicKeyLen()));
    const std::string cipher = RsaKey(publicKey).Encrypt(LONG_SECRET);
    const auto Run = [&] {
        AutoReleaseString out;
        const int nResult =
            manager.DecryptByLocalRsaKey(out, cipher.data(), static_cast<long>(cipher.size()));
        EXPECT_EQ(nResult, out.length() == 0 ? 0 : 1);
    };
    EXPECT_GE(FailEach(Run, PrivateNeedles(m_PrivateKey, {LONG_SECRET})), 10);
}

}  // namespace
}  // namespace NS_UTIL
