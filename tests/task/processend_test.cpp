#include "task/processend.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/nbitaskmgr.h"

namespace NS_UTIL {
namespace {

bool g_bAsk = false;

/// Whatever has just been freed is given out again and overwritten.
void OverwriteFreedMemory()
{
    constexpr std::size_t LARGEST = 256;
    constexpr int BLOCKS = 16;
    std::vector<void*> blocks;
    for (std::size_t nSize = sizeof(void*); nSize <= LARGEST; nSize += sizeof(void*)) {
        for (int i = 0; i < BLOCKS; ++i) blocks.push_back(std::memset(std::malloc(nSize), 0xAA, nSize));
    }
    for (void* const pBlock : blocks) std::free(pBlock);
}

void AskTheRegistry()
{
    if (!g_bAsk) return;
    OverwriteFreedMemory();
    std::vector<unsigned int> numbers;
    NBITaskMgr::GetAllTaskMgrId(numbers);
    const bool bKnown = NBITaskMgr::TaskMgrExisted(3) && !NBITaskMgr::TaskMgrExisted(4);
    _exit(bKnown && numbers == std::vector<unsigned int>{3} ? 0 : 7);
}

/// Registered before any static object is made, and so called when all of them are gone.
__attribute__((constructor(101))) void AskAtTheVeryEnd()
{
    std::atexit(AskTheRegistry);
}

/// A body may still run when main() has returned, and push to a pool.
TEST(RegistryDeathTest, AnswersWhenStaticObjectsAreGone)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            nbitest::RecordingHost host;
            host.KeepLogs(false);
            NBITaskMgr::GetTaskMgr(3);
            g_bAsk = true;
            std::exit(1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace NS_UTIL
