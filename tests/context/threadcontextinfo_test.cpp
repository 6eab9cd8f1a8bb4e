#include "nbiutil/threadcontextinfo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "context/contexttesting.h"
#include "support/lockfailure.h"
#include "support/vtable.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::CLOSE_TAG;
using nbitest::FailingLocks;
using nbitest::FullRecord;
using nbitest::IsUUID;
using nbitest::IsWrappedUUID;
using nbitest::LockKind;
using nbitest::NO_FAILING_LOCKS;
using nbitest::OPEN_TAG;

void ExpectFullRecord(const ThreadContextInfo& info)
{
    EXPECT_EQ(info.GetThreadId(), 44);
    EXPECT_EQ(info.GetInterfaceName(), "interface");
    EXPECT_EQ(info.GetUserInfo(), "user");
    EXPECT_EQ(info.GetOperUUID(), "uuid");
    EXPECT_EQ(info.GetTskNum(), 11);
    EXPECT_EQ(info.GetTskMode(), 22);
    EXPECT_EQ(info.GetTskType(), 33);
    EXPECT_EQ(info.GetTskMgr(), "manager");
}

TEST(ThreadContextInfoTest, DefaultRecordIsZeroAndEmpty)
{
    const ThreadContextInfo info;
    EXPECT_EQ(info.GetThreadId(), 0);
    EXPECT_EQ(info.GetInterfaceName(), "");
    EXPECT_EQ(info.GetUserInfo(), "");
    EXPECT_EQ(info.GetOperUUID(), "");
    EXPECT_EQ(info.GetTskNum(), 0);
    EXPECT_EQ(info.GetTskMode(), 0);
    EXPECT_EQ(info.GetTskType(), 0);
    EXPECT_EQ(info.GetTskMgr(), "");
}

TEST(ThreadContextInfoTest, ConstructorTakesTheTaskInformationFieldByField)
{
    ExpectFullRecord(FullRecord());
}

TEST(ThreadContextInfoTest, ConstructorStoresTheUUIDAsItStands)
{
    TskInfo tskInfo;
    EXPECT_EQ(ThreadContextInfo(1, "i", "u", "", tskInfo).GetOperUUID(), "") << "nothing is generated";
    EXPECT_EQ(ThreadContextInfo(1, "i", "u", "abc", tskInfo).GetOperUUID(), "abc") << "nothing is wrapped";
}

TEST(ThreadContextInfoTest, CopyHoldsEveryField)
{
    const ThreadContextInfo info = FullRecord();
    const ThreadContextInfo copy(info);
    ExpectFullRecord(copy);
    ExpectFullRecord(info);
}

TEST(ThreadContextInfoTest, AssignmentReplacesEveryField)
{
    ThreadContextInfo info;
    info.SetInterfaceName("other");
    EXPECT_EQ(&(info = FullRecord()), &info);
    ExpectFullRecord(info);
}

TEST(ThreadContextInfoTest, SelfAssignmentChangesNothing)
{
    ThreadContextInfo info = FullRecord();
    ThreadContextInfo& itself = info;
    info = itself;
    ExpectFullRecord(info);
}

TEST(ThreadContextInfoTest, EachOfTheFourIdentityFieldsMakesRecordsDiffer)
{
    const ThreadContextInfo info = FullRecord();
    EXPECT_TRUE(info == FullRecord());
    EXPECT_FALSE(info != FullRecord());

    std::vector<ThreadContextInfo> others(4, info);
    others[0].SetThreadID(45);
    others[1].SetInterfaceName("Interface");
    others[2].SetUserInfo("");
    others[3].SetOperUUID("uuid2");
    for (const ThreadContextInfo& other : others) {
        EXPECT_FALSE(info == other);
        EXPECT_TRUE(info != other);
    }
}

TEST(ThreadContextInfoTest, TaskValuesDoNotMakeRecordsDiffer)
{
    const ThreadContextInfo info = FullRecord();
    ThreadContextInfo other = info;
    other.SetHugeTskInfo(11, 33, 23, "manager");
    EXPECT_TRUE(info == other) << "only the mode differs";
    other.SetHugeTskInfo(-1, -2, -3, "another");
    EXPECT_TRUE(info == other);
    EXPECT_FALSE(info != other);
}

TEST(ThreadContextInfoTest, TaskInfoIsManagerThenInterfaceWithNothingBetween)
{
    ThreadContextInfo info;
    EXPECT_EQ(info.GetTskInfo(), "");
    info.SetInterfaceName("I");
    EXPECT_EQ(info.GetTskInfo(), "I");
    info.SetHugeTskInfo(0, 0, 0, "M");
    EXPECT_EQ(info.GetTskInfo(), "MI");
}

TEST(ThreadContextInfoTest, SettersReachTheirOwnField)
{
    ThreadContextInfo info;
    info.SetThreadID(-7);
    info.SetInterfaceName("name");
    info.SetUserInfo("somebody");
    EXPECT_EQ(info.GetThreadId(), -7);
    EXPECT_EQ(info.GetInterfaceName(), "name");
    EXPECT_EQ(info.GetUserInfo(), "somebody");
    EXPECT_EQ(info.GetOperUUID(), "");
}

TEST(ThreadContextInfoTest, HugeTaskInformationComesAsNumberTypeModeManager)
{
    ThreadContextInfo info;
    info.SetHugeTskInfo(1, 2, 3, "m");
    EXPECT_EQ(info.GetTskNum(), 1);
    EXPECT_EQ(info.GetTskType(), 2);
    EXPECT_EQ(info.GetTskMode(), 3);
    EXPECT_EQ(info.GetTskMgr(), "m");
}

TEST(ThreadContextInfoTest, SuppliedUUIDIsStoredAsItStands)
{
    ThreadContextInfo info;
    info.SetOperUUID("abc");
    EXPECT_EQ(info.GetOperUUID(), "abc");
    info.SetOperUUID("<OpUUID>x</OpUUID>");
    EXPECT_EQ(info.GetOperUUID(), "<OpUUID>x</OpUUID>");
}

TEST(ThreadContextInfoTest, EmptyUUIDIsReplacedByAFreshWrappedOneEachTime)
{
    ThreadContextInfo info;
    info.SetOperUUID("");
    const std::string first = info.GetOperUUID();
    info.SetOperUUID("");
    const std::string second = info.GetOperUUID();
    EXPECT_TRUE(IsWrappedUUID(first)) << first;
    EXPECT_TRUE(IsWrappedUUID(second)) << second;
    EXPECT_NE(first, second);
}

TEST(ThreadContextInfoTest, UUIDIsReadUpToItsFirstNul)
{
    ThreadContextInfo info;
    info.SetOperUUID(std::string("abc\0def", 7));
    EXPECT_EQ(info.GetOperUUID(), "abc");
    info.SetOperUUID(std::string("\0abc", 4));
    EXPECT_EQ(info.GetOperUUID(), "") << "not empty when it was stored, so nothing was generated";
}

TEST(ThreadContextInfoTest, BareUUIDIsTheOneBetweenTheTags)
{
    ThreadContextInfo info;
    info.SetOperUUID("");
    const std::string bare = info.GetBareOperUUID();
    EXPECT_TRUE(IsUUID(bare)) << bare;
    EXPECT_EQ(info.GetOperUUID(), OPEN_TAG + bare + CLOSE_TAG);
    info.SetOperUUID("<OpUUID></OpUUID>");
    EXPECT_EQ(info.GetBareOperUUID(), "");
}

TEST(ThreadContextInfoTest, BareUUIDWithoutBothTagsIsTheTextAsItStands)
{
    EXPECT_EQ(ThreadContextInfo().GetBareOperUUID(), "");
    for (const char* const pText : {"abc", "<OpUUID>abc", "abc</OpUUID>", "<OpUUID>/OpUUID>",
                                    "a<OpUUID>b</OpUUID>", "<OpUUID>abc</OpUUID> "}) {
        ThreadContextInfo info;
        info.SetOperUUID(pText);
        EXPECT_EQ(info.GetBareOperUUID(), pText);
    }
}

TEST(ThreadContextInfoTest, ComparisonLooksBeyondANul)
{
    ThreadContextInfo info;
    ThreadContextInfo other;
    info.SetOperUUID(std::string("abc\0def", 7));
    other.SetOperUUID("abc");
    EXPECT_EQ(info.GetOperUUID(), other.GetOperUUID());
    EXPECT_TRUE(info != other);
}

TEST(ThreadContextInfoTest, OtherTextsKeepTheirNuls)
{
    const std::string text("a\0b", 3);
    ThreadContextInfo info;
    info.SetInterfaceName(text);
    info.SetUserInfo(text);
    info.SetHugeTskInfo(0, 0, 0, text);
    EXPECT_EQ(info.GetInterfaceName(), text);
    EXPECT_EQ(info.GetUserInfo(), text);
    EXPECT_EQ(info.GetTskInfo(), text + text);
}

TEST(ThreadContextInfoTest, GettersGiveCopies)
{
    static_assert(std::is_same_v<decltype(FullRecord().GetInterfaceName()), std::string>);
    static_assert(std::is_same_v<decltype(FullRecord().GetUserInfo()), std::string>);
    static_assert(std::is_same_v<decltype(FullRecord().GetTskMgr()), std::string>);
    static_assert(std::is_same_v<decltype(FullRecord().GetOperUUID()), std::string>);
    const ThreadContextInfo info = FullRecord();
    info.GetInterfaceName() += "changed";
    ExpectFullRecord(info);
}

TEST(ThreadContextInfoTest, DestructorIsTheOnlyVirtualOperation)
{
    class Probe : public ThreadContextInfo, public nbitest::DeleteCounter {
    public:
        virtual void Next() {}
    };
    EXPECT_EQ(nbitest::SlotOf(&Probe::Next), 2u);
    nbitest::ExpectDestructorAt<Probe>(0);
}

TEST(ThreadContextInfoTest, GeneratedUUIDHasNoTagsAndNeedsNoRecord)
{
    const std::string uuid = ThreadContextInfo::GenerateUUID();
    EXPECT_TRUE(IsUUID(uuid)) << uuid;
    EXPECT_NE(uuid, ThreadContextInfo::GenerateUUID());
}

TEST(ThreadContextInfoTest, WithoutAGeneratorTheTagsStandAlone)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ACE_UUID_Generator::Destroy();  // another test's
    ThreadContextInfo info;
    {
        const FailingLocks failing(LockKind::MUTEX);
        info.SetOperUUID("");
    }
    EXPECT_EQ(info.GetOperUUID(), OPEN_TAG + CLOSE_TAG);
}

class UUIDGeneratorTest : public ::testing::Test {
protected:
    ~UUIDGeneratorTest() override { ACE_UUID_Generator::Destroy(); }
};

TEST_F(UUIDGeneratorTest, NoUUIDComesAgainAfterDestroy)
{
    const std::string before = ACE_UUID_Generator::Instance()->generate_uuid();
    ACE_UUID_Generator::Destroy();
    EXPECT_NE(ACE_UUID_Generator::Instance()->generate_uuid(), before);
}

TEST_F(UUIDGeneratorTest, DestroyedGeneratorIsGone)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ACE_UUID_Generator::Instance();
    ACE_UUID_Generator::Destroy();
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_EQ(ACE_UUID_Generator::Instance(), nullptr);
}

TEST_F(UUIDGeneratorTest, ALockThatFailsDoesNotStopTheGenerator)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ACE_UUID_Generator* const pGenerator = ACE_UUID_Generator::Instance();
    std::string uuid;
    {
        const FailingLocks failing(LockKind::MUTEX);
        uuid = pGenerator->generate_uuid();
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_TRUE(IsUUID(uuid)) << uuid;
}

TEST_F(UUIDGeneratorTest, UUIDsAreOfVersionOneAndTheStandardVariant)
{
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = ACE_UUID_Generator::Instance()->generate_uuid();
        ASSERT_TRUE(IsUUID(uuid)) << uuid;
        ASSERT_EQ(uuid[14], '1') << uuid;
        ASSERT_NE(std::string("89ab").find(uuid[19]), std::string::npos) << uuid;
    }
}

/// The time in a version 1 UUID: 100 ns units since 15 October 1582, low part first.
TEST_F(UUIDGeneratorTest, UUIDsHoldTheTimeOfTheirMaking)
{
    const std::string uuid = ACE_UUID_Generator::Instance()->generate_uuid();
    const std::uint64_t nTicks =
        std::stoull(uuid.substr(15, 3) + uuid.substr(9, 4) + uuid.substr(0, 8), nullptr, 16);
    constexpr std::uint64_t UNIX_EPOCH = 0x01B21DD213814000ULL;
    const auto nSeconds = static_cast<std::int64_t>((nTicks - UNIX_EPOCH) / 10000000U);
    const auto nNow =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    EXPECT_NEAR(static_cast<double>(nSeconds), static_cast<double>(nNow), 3600.0) << uuid;
}

TEST_F(UUIDGeneratorTest, EightThreadsNeverGetTheSameUUID)
{
    constexpr std::size_t THREADS = 8;
    constexpr std::size_t EACH = 10000;
    std::vector<std::vector<std::string>> made(THREADS);
    std::atomic<bool> bGo{false};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (std::vector<std::string>& mine : made) {
        threads.emplace_back([&mine, &bGo] {
            mine.reserve(EACH);
            while (!bGo) std::this_thread::yield();
            while (mine.size() < EACH) mine.push_back(ACE_UUID_Generator::Instance()->generate_uuid());
        });
    }
    bGo = true;
    for (std::thread& thread : threads) thread.join();

    std::set<std::string> all;
    for (const std::vector<std::string>& mine : made) all.insert(mine.begin(), mine.end());
    EXPECT_EQ(all.size(), THREADS * EACH);
}

}  // namespace
}  // namespace NS_UTIL
