#include "nbiutil/threadcontextmgr.h"

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "context/contexttesting.h"
#include "support/heapwatch.h"
#include "support/lockfailure.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::FullRecord;
using nbitest::IsWrappedUUID;
using nbitest::LiveAllocations;
using nbitest::LockKind;
using nbitest::NO_FAILING_LOCKS;

void OnAnotherThread(const std::function<void()>& body)
{
    std::thread(body).join();
}

int OwnIdentifier()
{
    return static_cast<int>(static_cast<unsigned int>(pthread_self()));
}

class ThreadContextMgrTest : public nbitest::RecordTest {};

TEST_F(ThreadContextMgrTest, DestroyDoesNothingWhenTheStaticObjectLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ThreadContextMgr* const pFirst = ThreadContextMgr::Instance();
    Set(FullRecord());
    {
        const FailingLocks failing(LockKind::MUTEX);
        ThreadContextMgr::Destroy();
    }
    EXPECT_EQ(ThreadContextMgr::Instance(), pFirst);
    EXPECT_EQ(Get(), FullRecord());
}

TEST_F(ThreadContextMgrTest, NeitherInstanceNorARecordNeedsALockOnceItIsThere)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    Set(FullRecord());
    const FailingLocks failing(LockKind::MUTEX);
    Set(Get());
    EXPECT_EQ(failing.Left(), 1);
}

TEST_F(ThreadContextMgrTest, ThreadsThatComeAtOnceShareRegistryAndKey)
{
    std::atomic<bool> bGo{false};
    std::vector<ThreadContextMgr*> seen(8, nullptr);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (ThreadContextMgr*& pSeen : seen) {
        threads.emplace_back([&pSeen, &bGo] {
            while (!bGo) std::this_thread::yield();
            pSeen = ThreadContextMgr::Instance();
            ThreadContextInfo info;
            info.SetInterfaceName(std::to_string(OwnIdentifier()));
            pSeen->SetThreadContext(info);
            EXPECT_EQ(pSeen->GetThreadContext().GetInterfaceName(), std::to_string(OwnIdentifier()));
        });
    }
    bGo = true;
    for (std::thread& thread : threads) thread.join();
    for (ThreadContextMgr* const pSeen : seen) EXPECT_EQ(pSeen, seen[0]);
}

TEST_F(ThreadContextMgrTest, NewThreadHasADefaultRecordWithAFreshUUIDInEachCopy)
{
    OnAnotherThread([] {
        const ThreadContextInfo first = Get();
        const ThreadContextInfo second = Get();
        EXPECT_EQ(first.GetThreadId(), 0);
        EXPECT_EQ(first.GetInterfaceName(), "");
        EXPECT_EQ(first.GetUserInfo(), "");
        EXPECT_EQ(first.GetTskNum(), 0);
        EXPECT_EQ(first.GetTskMode(), 0);
        EXPECT_EQ(first.GetTskType(), 0);
        EXPECT_EQ(first.GetTskMgr(), "");
        EXPECT_TRUE(IsWrappedUUID(first.GetOperUUID())) << first.GetOperUUID();
        EXPECT_TRUE(IsWrappedUUID(second.GetOperUUID())) << second.GetOperUUID();
        EXPECT_NE(first.GetOperUUID(), second.GetOperUUID());
    });
}

TEST_F(ThreadContextMgrTest, WhatIsSetIsWhatIsRead)
{
    Set(FullRecord());
    const ThreadContextInfo info = Get();
    EXPECT_EQ(info.GetThreadId(), 44);
    EXPECT_EQ(info.GetInterfaceName(), "interface");
    EXPECT_EQ(info.GetUserInfo(), "user");
    EXPECT_EQ(info.GetOperUUID(), "uuid");
    EXPECT_EQ(info.GetTskNum(), 11);
    EXPECT_EQ(info.GetTskMode(), 22);
    EXPECT_EQ(info.GetTskType(), 33);
    EXPECT_EQ(info.GetTskMgr(), "manager");
}

TEST_F(ThreadContextMgrTest, ModeAndTypeComeBackAsTheyWereSet)
{
    ThreadContextInfo info;
    info.SetHugeTskInfo(2, 0, 1, "m");
    Set(info);
    EXPECT_EQ(Get().GetTskMode(), 1);
    EXPECT_EQ(Get().GetTskType(), 0);
    Set(Get());
    EXPECT_EQ(Get().GetTskMode(), 1) << "after two round trips";
    EXPECT_EQ(Get().GetTskType(), 0) << "after two round trips";
}

TEST_F(ThreadContextMgrTest, EmptyUUIDIsReplacedWhenARecordIsSet)
{
    Set(ThreadContextInfo());
    const std::string uuid = Get().GetOperUUID();
    EXPECT_TRUE(IsWrappedUUID(uuid)) << uuid;
    EXPECT_EQ(Get().GetOperUUID(), uuid) << "the stored record has it";
}

TEST_F(ThreadContextMgrTest, SettingTheSameEmptyRecordAgainGivesAnotherUUID)
{
    Set(ThreadContextInfo());
    const std::string uuid = Get().GetOperUUID();
    Set(ThreadContextInfo());
    EXPECT_NE(Get().GetOperUUID(), uuid);
}

TEST_F(ThreadContextMgrTest, TransfersEndAUUIDAtItsFirstNul)
{
    ThreadContextInfo info;
    info.SetOperUUID(std::string("abc\0def", 7));
    Set(info);
    ThreadContextInfo expected;
    expected.SetOperUUID("abc");
    EXPECT_EQ(Get(), expected) << "the comparison would see what stands behind the NUL";
}

TEST_F(ThreadContextMgrTest, UUIDThatBeginsWithANulCountsAsEmpty)
{
    ThreadContextInfo info;
    info.SetOperUUID(std::string("\0abc", 4));
    Set(info);
    EXPECT_TRUE(IsWrappedUUID(Get().GetOperUUID())) << Get().GetOperUUID();
}

TEST_F(ThreadContextMgrTest, OtherTextsAreTransferredWithTheirNuls)
{
    const std::string text("a\0b", 3);
    ThreadContextInfo info;
    info.SetInterfaceName(text);
    info.SetUserInfo(text);
    info.SetHugeTskInfo(0, 0, 0, text);
    Set(info);
    EXPECT_EQ(Get().GetInterfaceName(), text);
    EXPECT_EQ(Get().GetUserInfo(), text);
    EXPECT_EQ(Get().GetTskMgr(), text);
}

TEST_F(ThreadContextMgrTest, CopyThatIsHandedOutIsTheCallersOwn)
{
    Set(FullRecord());
    ThreadContextInfo copy = Get();
    copy.SetInterfaceName("changed");
    EXPECT_EQ(Get().GetInterfaceName(), "interface");
}

TEST_F(ThreadContextMgrTest, RequestGetsIdAndNameAsItsInterface)
{
    ThreadContextMgr::Instance()->SetThreadContext(5, "X");
    const ThreadContextInfo info = Get();
    EXPECT_EQ(info.GetInterfaceName(), "5 X");
    EXPECT_EQ(info.GetThreadId(), OwnIdentifier()) << "the thread's own identifier and not the 5";
    EXPECT_EQ(info.GetUserInfo(), "");
    EXPECT_TRUE(IsWrappedUUID(info.GetOperUUID())) << info.GetOperUUID();
    EXPECT_EQ(Get().GetOperUUID(), info.GetOperUUID()) << "it is stored";
}

TEST_F(ThreadContextMgrTest, RequestWithoutANameHasTheIdAlone)
{
    ThreadContextMgr::Instance()->SetThreadContext(7, "");
    EXPECT_EQ(Get().GetInterfaceName(), "7");
    ThreadContextMgr::Instance()->SetThreadContext(-2147483647 - 1, "n");
    EXPECT_EQ(Get().GetInterfaceName(), "-2147483648 n");
}

TEST_F(ThreadContextMgrTest, RequestGetsAFreshUUIDEachTime)
{
    ThreadContextMgr::Instance()->SetThreadContext(1, "a");
    const std::string uuid = Get().GetOperUUID();
    ThreadContextMgr::Instance()->SetThreadContext(1, "a");
    EXPECT_NE(Get().GetOperUUID(), uuid);
}

TEST_F(ThreadContextMgrTest, RequestLosesTheTaskValuesOfTheOneBefore)
{
    Set(FullRecord());
    ThreadContextMgr::Instance()->SetThreadContext(1, "a");
    EXPECT_EQ(Get().GetTskNum(), 0);
    EXPECT_EQ(Get().GetTskMode(), 0);
    EXPECT_EQ(Get().GetTskType(), 0);
    EXPECT_EQ(Get().GetTskMgr(), "");
}

TEST_F(ThreadContextMgrTest, RecordIsInvisibleToOtherThreads)
{
    Set(FullRecord());
    OnAnotherThread([] {
        EXPECT_EQ(Get().GetInterfaceName(), "");
        ThreadContextMgr::Instance()->SetThreadContext(9, "other");
        EXPECT_EQ(Get().GetInterfaceName(), "9 other");
        EXPECT_EQ(Get().GetThreadId(), OwnIdentifier());
    });
    EXPECT_EQ(Get(), FullRecord());
}

TEST_F(ThreadContextMgrTest, DestroyPutsTheRecordsOfRunningThreadsOutOfReach)
{
    Set(FullRecord());
    ThreadContextMgr::Destroy();
    const ThreadContextInfo info = Get();
    EXPECT_EQ(info.GetInterfaceName(), "");
    EXPECT_EQ(info.GetThreadId(), 0);
    EXPECT_EQ(info.GetTskMgr(), "");
    EXPECT_TRUE(IsWrappedUUID(info.GetOperUUID())) << info.GetOperUUID();
}

TEST_F(ThreadContextMgrTest, RecordWorksAgainWithANewRegistry)
{
    Set(FullRecord());
    for (int i = 0; i < 3; ++i) {
        ThreadContextMgr::Destroy();
        EXPECT_EQ(Get().GetInterfaceName(), "");
        Set(FullRecord());
        EXPECT_EQ(Get(), FullRecord());
    }
}

/// Objects that are left over when threads have come, done \p body and gone.
long LeftByThreads(const std::function<void()>& body)
{
    OnAnotherThread(body);  // what is made once in the process
    const long nBefore = LiveAllocations();
    for (int i = 0; i < 20; ++i) OnAnotherThread(body);
    return LiveAllocations() - nBefore;
}

TEST_F(ThreadContextMgrTest, RecordGoesWithItsThread)
{
    ThreadContextMgr::Instance();
    EXPECT_EQ(LeftByThreads([] { ThreadContextMgr::Instance()->SetThreadContext(FullRecord()); }), 0);
}

TEST_F(ThreadContextMgrTest, RecordGoesWithItsThreadAfterItsRegistry)
{
    EXPECT_EQ(LeftByThreads([] {
                  Set(FullRecord());
                  ThreadContextMgr::Destroy();
              }),
              0);
}

TEST_F(ThreadContextMgrTest, RecordThatIsMadeWhileItsThreadEndsGoesToo)
{
    ThreadContextMgr::Instance();
    pthread_key_t nKey = 0;
    const auto cleanup = [](void*) { ThreadContextMgr::Instance()->SetThreadContext(FullRecord()); };
    ASSERT_EQ(pthread_key_create(&nKey, cleanup), 0);
    EXPECT_EQ(LeftByThreads([nKey] { pthread_setspecific(nKey, "anything but null"); }), 0);
    pthread_key_delete(nKey);
}

TEST_F(ThreadContextMgrTest, RecordThatHasGoneIsNotReadByLaterCleanups)
{
    OnAnotherThread(
        [] { Set(FullRecord()); });  // makes the library's key, whose cleanup runs before the one below
    static std::string seen;
    seen = "not asked";
    pthread_key_t nKey = 0;
    const auto cleanup = [](void*) {
        seen = ThreadContextMgr::Instance()->GetThreadContext().GetInterfaceName();
    };
    ASSERT_EQ(pthread_key_create(&nKey, cleanup), 0);
    OnAnotherThread([nKey] {
        Set(FullRecord());
        pthread_setspecific(nKey, "anything but null");
    });
    EXPECT_EQ(seen, ThreadContextInfo().GetInterfaceName());
    pthread_key_delete(nKey);
}

/// Takes every thread key that the process has left, and gives them back.
class AllKeys {
public:
    AllKeys()
    {
        for (pthread_key_t nKey = 0; pthread_key_create(&nKey, nullptr) == 0;) m_Keys.push_back(nKey);
    }
    ~AllKeys()
    {
        for (const pthread_key_t nKey : m_Keys) pthread_key_delete(nKey);
    }
    AllKeys(const AllKeys&) = delete;
    AllKeys& operator=(const AllKeys&) = delete;

private:
    std::vector<pthread_key_t> m_Keys;
};

/// Catches what the calling thread reports through ACE, instead of standard error.
class AceReports : public ACE_Log_Msg_Callback {
public:
    AceReports()
    {
        ACE_Log_Msg* const pLog = ACE_Log_Msg::instance();
        m_nFlags = pLog->flags();
        pLog->clr_flags(m_nFlags);
        pLog->set_flags(ACE_Log_Msg::MSG_CALLBACK);
        m_pBefore = pLog->msg_callback(this);
    }
    ~AceReports() override
    {
        ACE_Log_Msg* const pLog = ACE_Log_Msg::instance();
        pLog->msg_callback(m_pBefore);
        pLog->clr_flags(ACE_Log_Msg::MSG_CALLBACK);
        pLog->set_flags(m_nFlags);
    }
    AceReports(const AceReports&) = delete;
    AceReports& operator=(const AceReports&) = delete;

    void log(ACE_Log_Record& record) override
    {
        m_Texts.emplace_back(record.msg_data());
        m_nPriority = record.type();
        m_File = ACE_Log_Msg::instance()->file();
        m_nLine = ACE_Log_Msg::instance()->linenum();
    }

    std::vector<std::string> m_Texts;
    std::string m_File;
    int m_nLine = 0;
    unsigned long m_nPriority = 0;

private:
    unsigned long m_nFlags = 0;
    ACE_Log_Msg_Callback* m_pBefore = nullptr;
};

TEST_F(ThreadContextMgrTest, WithoutAKeyAReadGivesADefaultRecordAndASetDoesNothing)
{
    ThreadContextMgr* const pRegistry = ThreadContextMgr::Instance();
    AceReports reports;
    {
        const AllKeys none;
        pRegistry->SetThreadContext(FullRecord());
        pRegistry->SetThreadContext(5, "X");
        EXPECT_EQ(pRegistry->GetThreadContext(), ThreadContextInfo()) << "no UUID either";
    }
    EXPECT_TRUE(reports.m_Texts.empty());
    EXPECT_EQ(Get().GetInterfaceName(), "") << "nothing had been stored";
}

TEST_F(ThreadContextMgrTest, KeyIsTriedForAgainAfterAFailure)
{
    {
        const AllKeys none;
        Set(FullRecord());
    }
    Set(FullRecord());
    EXPECT_EQ(Get(), FullRecord());
}

/// Makes the registry's key and takes it away behind its back: from now on nothing can be stored under it.
/// Keys are given out lowest number first, so the next one is the one that was given back last.
void InvalidateTheKey()
{
    pthread_key_t nNext = 0;
    ASSERT_EQ(pthread_key_create(&nNext, nullptr), 0);
    ASSERT_EQ(pthread_key_delete(nNext), 0);
    ThreadContextMgr* const pRegistry = ThreadContextMgr::Instance();
    OnAnotherThread([pRegistry] { pRegistry->SetThreadContext(1, "first access"); });
    ASSERT_EQ(pthread_key_delete(nNext), 0) << "the registry's key has another number";
}

TEST_F(ThreadContextMgrTest, StorageFailureIsReportedThroughAceWithTheSystemError)
{
    InvalidateTheKey();
    AceReports reports;
    Set(FullRecord());
    ASSERT_EQ(reports.m_Texts.size(), 1u);
    EXPECT_EQ(reports.m_Texts[0],
              std::string("Error: ACE_Thread::setspecific() failed!: ") + std::strerror(EINVAL) + "\n");
    EXPECT_EQ(reports.m_nPriority, static_cast<unsigned long>(LM_ERROR));
    EXPECT_EQ(reports.m_File, "threadcontextmgr");
    EXPECT_EQ(reports.m_nLine, 90);
}

TEST_F(ThreadContextMgrTest, WithoutStorageAReadGivesADefaultRecordAndASetDoesNothing)
{
    InvalidateTheKey();
    AceReports reports;
    Set(FullRecord());
    ThreadContextMgr::Instance()->SetThreadContext(5, "X");
    EXPECT_EQ(Get(), ThreadContextInfo()) << "no UUID either";
    EXPECT_EQ(reports.m_Texts.size(), 3u) << "every access tries again";
}

TEST_F(ThreadContextMgrTest, RecordThatCannotBeStoredIsDeleted)
{
    InvalidateTheKey();
    AceReports reports;
    Set(FullRecord());
    reports.m_Texts.clear();
    const long nBefore = LiveAllocations();
    for (int i = 0; i < 20; ++i) {
        Set(FullRecord());
        reports.m_Texts.clear();
    }
    EXPECT_EQ(LiveAllocations(), nBefore);
}

}  // namespace
}  // namespace NS_UTIL
