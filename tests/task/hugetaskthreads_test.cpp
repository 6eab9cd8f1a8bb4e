// The book of the huge tasks under many threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <list>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/threadcontextmgr.h"

namespace NS_UTIL {
namespace {

using Book = std::map<std::string, std::list<std::string>>;

ThreadContextInfo Task(const std::string& kind, const std::string& uuid, int nNum = 1)
{
    ThreadContextInfo info;
    info.SetInterfaceName(kind);
    info.SetOperUUID(uuid);
    info.SetHugeTskInfo(nNum, 0, 1, "manager");
    return info;
}

class HugeTaskThreadsTest : public ::testing::Test {
protected:
    ~HugeTaskThreadsTest() override { HugeTaskMgr::Destroy(); }

    static HugeTaskMgr& Mgr() { return *HugeTaskMgr::Instance(); }
    static void Serve(const std::string& kind, int nNum)
    {
        ThreadContextMgr::Instance()->SetThreadContext(Task(kind, "own", nNum));
    }

    nbitest::RecordingHost m_Host;
};

TEST_F(HugeTaskThreadsTest, EightThreadsKeepOneBook)
{
    constexpr int THREADS = 8;
    constexpr int EACH = 200;
    m_Host.KeepLogs(false);
    Mgr().Init(THREADS * EACH);
    std::atomic<int> nEntered{0};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int nThread = 0; nThread < THREADS; ++nThread) {
        threads.emplace_back([nThread, &nEntered] {
            const std::string kind = std::to_string(nThread % 3);
            Serve(kind, THREADS * EACH);
            const auto task = [&](int i) {
                return Task(kind, std::to_string(nThread) + ' ' + std::to_string(i));
            };
            for (int i = 0; i < EACH; ++i) {
                Mgr().SetHTskInfo(task(i));
                EXPECT_FALSE(Mgr().IsOverSingleHTaskNum());
                Book book;
                if (i % 50 == 0) Mgr().GetHuTaskMap(book);
            }
            ++nEntered;
            while (nEntered < THREADS) std::this_thread::yield();
            EXPECT_TRUE(Mgr().IsOverHTaskNum());
            ++nEntered;
            while (nEntered < 2 * THREADS) std::this_thread::yield();
            for (int i = 0; i < EACH; i += 2) Mgr().RemoveHTskInfo(task(i));
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::size_t nLeft = 0;
    Book left;
    Mgr().GetHuTaskMap(left);
    for (const auto& [kind, uuids] : left) nLeft += uuids.size();
    EXPECT_EQ(nLeft, static_cast<std::size_t>(THREADS * EACH / 2));
    EXPECT_EQ(Mgr().GetHTskNum(), static_cast<unsigned int>(THREADS * EACH / 2));
}

TEST_F(HugeTaskThreadsTest, WhoeverCountsWaitsForTheLineOfAnEntry)
{
    std::future<unsigned int> counted;
    m_Host.OnLogCalls([&counted] {
        if (counted.valid()) return;
        counted = std::async(std::launch::async, [] { return Mgr().GetHTskNum(); });
        EXPECT_EQ(counted.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    });
    Mgr().SetHTskInfo(Task("kind", "uuid"));
    EXPECT_EQ(counted.get(), 1u);
}

TEST_F(HugeTaskThreadsTest, ThreadsThatComeAtOnceGetTheSameBook)
{
    std::vector<HugeTaskMgr*> seen(8, nullptr);
    std::atomic<bool> bGo{false};
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (HugeTaskMgr*& pSeen : seen) {
        threads.emplace_back([&pSeen, &bGo] {
            while (!bGo) std::this_thread::yield();
            pSeen = HugeTaskMgr::Instance();
        });
    }
    bGo = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), seen[0]), 8);
}

}  // namespace
}  // namespace NS_UTIL
