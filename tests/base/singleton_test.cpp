#include "base/singleton.h"

#include <cxxabi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/nbiutil.h"
#include "support/lockfailure.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::LockKind;
using nbitest::NO_FAILING_LOCKS;
using nbitest::RecordingHost;

/// "SingletonTest/ErrorInfoMgr" in place of "SingletonTest/1".
struct ClassName {
    template <class Class>
    static std::string GetName(int /*nIndex*/)
    {
        const std::unique_ptr<char, decltype(&std::free)> full(
            abi::__cxa_demangle(typeid(Class).name(), nullptr, nullptr, nullptr), &std::free);
        const std::string name = full.get();
        return name.substr(name.rfind(':') + 1);
    }
};

/// What eight threads get that ask at the same moment.
template <class Ask>
auto AskedAtOnce(Ask ask)
{
    std::vector<decltype(ask())> answers(8);
    std::atomic<bool> bGo{false};
    std::vector<std::thread> threads;
    threads.reserve(answers.size());
    for (auto& answer : answers) {
        threads.emplace_back([&bGo, &answer, ask] {
            while (!bGo) std::this_thread::yield();
            answer = ask();
        });
    }
    bGo = true;
    for (std::thread& thread : threads) thread.join();
    return answers;
}

// What holds for each of the library's singletons. One of them stays until the process ends, so what needs none to be
// there comes first, for those who run the program as a whole.

template <class Singleton>
class SingletonTest : public ::testing::Test {
protected:
    RecordingHost m_Host;
};
using Singletons =
    ::testing::Types<ACE_UUID_Generator, ErrorInfoMgr, HugeTaskMgr, LocalRsaKeyMgr, SDXMLInterpreterMgr,
                     SelfUtilCommon, TEParserFuncRegistry, ThreadContextMgr, ZipFileInterface>;
TYPED_TEST_SUITE(SingletonTest, Singletons, ClassName);

TYPED_TEST(SingletonTest, InstanceIsNullWhenTheStaticObjectLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    {
        const FailingLocks failing(LockKind::MUTEX);
        EXPECT_EQ(TypeParam::Instance(), nullptr);
    }
    EXPECT_NE(TypeParam::Instance(), nullptr);
}

TYPED_TEST(SingletonTest, ThreadsThatComeAtOnceGetTheSameObject)
{
    const auto seen = AskedAtOnce([] { return TypeParam::Instance(); });
    ASSERT_NE(TypeParam::Instance(), nullptr);
    EXPECT_THAT(seen, ::testing::Each(TypeParam::Instance()));
}

TYPED_TEST(SingletonTest, InstanceNeedsNoLockOnceTheObjectIsThere)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    TypeParam* const pFirst = TypeParam::Instance();
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_EQ(TypeParam::Instance(), pFirst);
    EXPECT_EQ(failing.Left(), 1);
}

// What holds for those that can be destroyed.

template <class Singleton>
class DestroyTest : public ::testing::Test {
protected:
    ~DestroyTest() override { Singleton::Destroy(); }
    RecordingHost m_Host;
};
using Destroyable = ::testing::Types<ACE_UUID_Generator, ErrorInfoMgr, HugeTaskMgr, LocalRsaKeyMgr,
                                     SDXMLInterpreterMgr, SelfUtilCommon, ThreadContextMgr, ZipFileInterface>;
TYPED_TEST_SUITE(DestroyTest, Destroyable, ClassName);

TYPED_TEST(DestroyTest, WithoutAnObjectNothingHappens)
{
    TypeParam::Destroy();
    TypeParam::Instance();
    TypeParam::Destroy();
    TypeParam::Destroy();
    EXPECT_NE(TypeParam::Instance(), nullptr);
}

TYPED_TEST(DestroyTest, ObjectIsGone)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    TypeParam::Instance();
    TypeParam::Destroy();
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_EQ(TypeParam::Instance(), nullptr);
}

TYPED_TEST(DestroyTest, ObjectStaysWhenTheStaticObjectLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    TypeParam* const pFirst = TypeParam::Instance();
    {
        const FailingLocks failing(LockKind::MUTEX);
        TypeParam::Destroy();
    }
    const FailingLocks failing(LockKind::MUTEX);  // a new object would need it
    EXPECT_EQ(TypeParam::Instance(), pFirst);
}

// The two functions themselves

TEST(InstanceInTest, MakerIsCalledOnceHoweverManyThreadsCome)
{
    std::atomic<int*> slot{nullptr};
    std::atomic<int> nMade{0};
    int object = 0;
    AskedAtOnce([&] {
        return InstanceIn(slot, [&] {
            ++nMade;
            return &object;
        });
    });
    EXPECT_EQ(nMade, 1);
    EXPECT_EQ(slot, &object);
}

TEST(InstanceInTest, MakerMayUseAnotherSingleton)
{
    std::atomic<int*> slot{nullptr};
    std::atomic<int*> other{nullptr};
    int object = 0;
    InstanceIn(slot, [&] { return InstanceIn(other, [&] { return &object; }); });
    EXPECT_EQ(slot, &object);
    EXPECT_EQ(other, &object);
}

TEST(InstanceInTest, AfterAMakerThatThrowsTheNextOneIsAsked)
{
    std::atomic<int*> slot{nullptr};
    const auto fail = []() -> int* { throw std::runtime_error("no object"); };
    EXPECT_THROW(InstanceIn(slot, fail), std::runtime_error);
    int object = 0;
    std::thread([&] { InstanceIn(slot, [&] { return &object; }); }).join();
    EXPECT_EQ(slot, &object);
}

TEST(DestroyInTest, WhatTheObjectUsesAtItsEndFindsItInItsPlace)
{
    int object = 0;
    std::atomic<int*> slot{&object};
    DestroyIn(slot, [&](int* pObject) { EXPECT_EQ(slot, pObject); });
    EXPECT_EQ(slot, nullptr);
}

TEST(DestroyInTest, WithoutAnObjectNoLockIsTaken)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    std::atomic<int*> slot{nullptr};
    const FailingLocks failing(LockKind::MUTEX);
    DestroyIn(slot, [](int* /*pObject*/) {});
    EXPECT_EQ(failing.Left(), 1);
}

TEST(DestroyInTest, ObjectIsDeletedOnce)
{
    int object = 0;
    int nDeleted = 0;
    std::atomic<int*> slot{&object};
    for (int i = 0; i < 2; ++i) DestroyIn(slot, [&](int* /*pObject*/) { ++nDeleted; });
    EXPECT_EQ(nDeleted, 1);
    EXPECT_EQ(slot, nullptr);
}

}  // namespace
}  // namespace NS_UTIL
