#include "context/taskcontext.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "context/contexttesting.h"
#include "support/lockfailure.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::FullRecord;
using nbitest::IsWrappedUUID;
using nbitest::LockKind;
using nbitest::NO_FAILING_LOCKS;

class TaskContextTest : public nbitest::RecordTest {};

TEST_F(TaskContextTest, AllTasksHaveTheSameRecordUntilAnotherIsSet)
{
    Set(FullRecord());
    const TaskContext::Stored pFirst = TaskContext::Share();
    EXPECT_EQ(TaskContext::Share(), pFirst);
    EXPECT_EQ(TaskContext::CopyOf(*pFirst), FullRecord());
    EXPECT_EQ(TaskContext::CopyOf(*pFirst).GetTskMode(), FullRecord().GetTskMode());
    EXPECT_EQ(TaskContext::TaskModeOf(*pFirst), FullRecord().GetTskMode());

    Set(ThreadContextInfo());
    EXPECT_NE(TaskContext::Share(), pFirst);
    EXPECT_TRUE(IsWrappedUUID(TaskContext::Share()->GetOperUUID()));
}

TEST_F(TaskContextTest, TasksOfAThreadThatSetNothingHaveUUIDsOfTheirOwn)
{
    const std::string first = TaskContext::Share()->GetOperUUID();
    const std::string second = TaskContext::Share()->GetOperUUID();
    EXPECT_TRUE(IsWrappedUUID(first)) << first;
    EXPECT_TRUE(IsWrappedUUID(second)) << second;
    EXPECT_NE(first, second);
}

TEST_F(TaskContextTest, InstalledRecordIsTheThreads)
{
    Set(FullRecord());
    const TaskContext::Stored pStored = TaskContext::Share();
    std::thread([&pStored] {
        TaskContext::Install(pStored);
        EXPECT_EQ(Get(), FullRecord());
        EXPECT_EQ(Get().GetTskMode(), FullRecord().GetTskMode());
        EXPECT_EQ(TaskContext::Share(), pStored) << "and that of the tasks which it makes";
    }).join();
}

TEST_F(TaskContextTest, InstalledRecordWithoutAUUIDGetsOne)
{
    TskInfo task;
    TaskContext::Install(std::make_shared<const ThreadContextInfo>(1, "interface", "user", "", task));
    EXPECT_EQ(Get().GetInterfaceName(), "interface");
    EXPECT_TRUE(IsWrappedUUID(Get().GetOperUUID()));
    EXPECT_EQ(Get().GetOperUUID(), Get().GetOperUUID());
}

TEST_F(TaskContextTest, RecordIsGivenBackWhenAnotherIsSet)
{
    const auto pStored = std::make_shared<const ThreadContextInfo>(FullRecord());
    TaskContext::Install(pStored);
    EXPECT_EQ(pStored.use_count(), 2);
    Set(FullRecord());
    EXPECT_EQ(pStored.use_count(), 1);
}

TEST_F(TaskContextTest, RecordEndsWithItsRegistry)
{
    const auto pStored = std::make_shared<const ThreadContextInfo>(FullRecord());
    TaskContext::Install(pStored);
    ThreadContextMgr::Destroy();
    EXPECT_NE(TaskContext::Share(), pStored);
    EXPECT_EQ(pStored.use_count(), 1);
}

TEST_F(TaskContextTest, WithoutARegistryTheRecordIsADefaultOneAndNothingIsInstalled)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    {
        const FailingLocks failing(LockKind::MUTEX);
        EXPECT_EQ(*TaskContext::Share(), ThreadContextInfo());
    }
    ThreadContextMgr::Destroy();
    {
        const FailingLocks failing(LockKind::MUTEX);
        TaskContext::Install(std::make_shared<const ThreadContextInfo>(FullRecord()));
    }
    EXPECT_EQ(Get().GetInterfaceName(), "");
}

}  // namespace
}  // namespace NS_UTIL
