#include "context/currentcontext.h"

#include <gtest/gtest.h>

#include "context/contexttesting.h"
#include "support/lockfailure.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::FullRecord;
using nbitest::LockKind;
using nbitest::NO_FAILING_LOCKS;

class CurrentContextTest : public ::testing::Test {
protected:
    ~CurrentContextTest() override { ThreadContextMgr::Destroy(); }
};

TEST_F(CurrentContextTest, IsTheThreadsRecord)
{
    ThreadContextMgr::Instance()->SetThreadContext(FullRecord());
    EXPECT_EQ(CurrentContext(), FullRecord());
}

TEST_F(CurrentContextTest, IsADefaultRecordWithoutARegistry)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ThreadContextMgr::Destroy();
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_EQ(CurrentContext(), ThreadContextInfo());
}

}  // namespace
}  // namespace NS_UTIL
