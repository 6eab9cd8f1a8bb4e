#include "task/workername.h"

#include <ace/OS_NS_unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

/// The names of this process's threads, as a process viewer sees them.
std::multiset<std::string> ThreadNames()
{
    std::multiset<std::string> names;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "comm");
        std::string name;
        if (std::getline(file, name)) names.insert(name);
    }
    return names;
}

class WorkerNameTest : public PoolTest {};

TEST_F(WorkerNameTest, WorkersNameThemselvesAfterPoolAndNumber)
{
    const auto pPool = Started(7, 12);
    EXPECT_TRUE(Eventually([] {
        const auto names = ThreadNames();
        return names.count("nbi-p7-w01") == 1 && names.count("nbi-p7-w09") == 1 &&
               names.count("nbi-p7-w12") == 1;
    }));
}

TEST_F(WorkerNameTest, PoolWithoutANumberIsPool0)
{
    UseThreads(1);
    NBITaskMgr pool;
    pool.open(nullptr);
    EXPECT_TRUE(Eventually([] { return ThreadNames().count("nbi-p0-w01") == 1; }));
}

TEST_F(WorkerNameTest, HostMayPutAPrefixInFront)
{
    NBITaskMgr::SetThreadNamePrefix("kx-");
    const auto pPool = Started(7, 1);
    EXPECT_TRUE(Eventually([] { return ThreadNames().count("kx-nbi-p7-w01") == 1; }));
    NBITaskMgr::SetThreadNamePrefix("");
    EXPECT_EQ(WorkerName(7, 1), "nbi-p7-w01");
}

TEST_F(WorkerNameTest, LongPoolNumberIsCutAndNeverTheWorkers)
{
    EXPECT_EQ(WorkerName(4294967295U, 7), "nbi-p967295-w07");
    EXPECT_EQ(WorkerName(4294967295U, 999), "nbi-p67295-w999");
    EXPECT_EQ(WorkerName(123456, 7), "nbi-p123456-w07");
    EXPECT_EQ(WorkerName(123456, 12345), "nbi-p456-w12345");
    EXPECT_EQ(WorkerName(7, 10), "nbi-p7-w10");
}

TEST_F(WorkerNameTest, PrefixOfMoreThanFourCharactersIsCut)
{
    NBITaskMgr::SetThreadNamePrefix("northbound");
    EXPECT_EQ(WorkerName(2, 999), "nortnbi-p2-w999");
    EXPECT_EQ(WorkerName(12, 999), "nortnbi-p2-w999");
    EXPECT_EQ(WorkerName(12, 1000), "nortnbi-p-w1000");
}

}  // namespace
}  // namespace NS_UTIL
