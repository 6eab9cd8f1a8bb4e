// Collections of a server in a process of its own, and their limits.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <string>

#include "client/corba/collections.h"
#include "nbiutil/errcode.h"
#include "northbound/programs/requests.h"
#include "shared/names.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

TEST(CollectionsTest, CollectionWritesOneLinePerSampleAndAnswersWithTheFile)
{
    Server server;
    const Session session(server.Address(), "alice");
    const Northbound::CollectionResult_var result = session.Server()->Collect(session.Who(), Order(20, 200));
    EXPECT_EQ(result->samples, 11u);
    const std::string file = result->file.in();
    EXPECT_EQ(file, server.Directory() + "/collections/perf-lo-" + result->operation.in() + ".csv");
    const std::string text = ReadFile(file);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 12);
    EXPECT_TRUE(StartsWith(text, "time,rxBytes,"));
    StopInOrder(server);
}

TEST(CollectionsTest, CollectionFileThatCannotBeWrittenIsAFailure)
{
    Server server;
    const Session session(server.Address(), "alice");
    fs::remove_all(server.Directory() + "/collections");
    const auto failure = FailureOf([&] { Collect(session, Order(20, 20)); });
    EXPECT_EQ(failure.code, ErrCode::FILE_NOT_WRITTEN);
    EXPECT_NE(std::string(failure.detail.in()).find("/collections/perf-lo-"), std::string::npos);
    StopInOrder(server);
}

TEST(CollectionsTest, CollectionsRunSideBySideAndTheListTellsHowFarTheyAre)
{
    Server server("HugeTaskLimit = 4\n");
    const Session session(server.Address(), "alice");
    {
        std::list<Collection> running;
        for (int i = 0; i < 4; ++i) running.emplace_back(session, Order(20, 10 * MINUTE), MINUTE);
        EXPECT_TRUE(Eventually([&] {
            const Northbound::HugeTaskList_var tasks = AllTasks(session);
            unsigned int nUnderWay = 0;
            for (CORBA::ULong i = 0; i < tasks->length(); ++i) {
                const Northbound::HugeTask& task = tasks.in()[i];
                EXPECT_EQ(task.dn.in(), Loopback());
                EXPECT_EQ(task.list.in(), Loopback() + " 3 collect");
                EXPECT_STREQ(task.user.in(), "alice");
                EXPECT_EQ(task.samplesPlanned, 10 * MINUTE / 20 + 1);
                if (task.samplesTaken >= 3) ++nUnderWay;
            }
            return nUnderWay == 4;
        }));
        StopInOrder(server);
    }
}

TEST(CollectionsTest, CollectionBeyondTheOverallLimitIsRefusedAtOnce)
{
    Server server("HugeTaskLimit = 2\n");
    const Session session(server.Address(), "alice");
    std::list<Collection> running;
    for (int i = 0; i < 2; ++i) running.emplace_back(session, Order(100, 10 * MINUTE), MINUTE);
    ASSERT_TRUE(Eventually([&] { return TasksListed(session) == 2; }));
    const auto failure = FailureOf([&] { Collect(session, Order(100, 10 * MINUTE)); });
    EXPECT_EQ(failure.code, NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    EXPECT_STRNE(failure.detail.in(), "");
    EXPECT_EQ(TasksListed(session), 2u);
    StopInOrder(server);
}

TEST(CollectionsTest, CollectionBeginsAgainWhenOthersHaveEnded)
{
    Server server("HugeTaskLimit = 1\n");
    const Session session(server.Address(), "alice");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(FailureOf([&] { Collect(session, Order(10, 20)); }).code, 0u);
        EXPECT_TRUE(Eventually([&] { return TasksListed(session) == 0; }));
    }
    StopInOrder(server);
}

TEST(CollectionsTest, PortTakesOneCollectionMoreThanItsLimitAndRefusesTheNext)
{
    Server server("HugeTaskLimit = 100\nCollectionsPerPort = 1\n");
    const Session session(server.Address(), "alice");
    std::list<Collection> running;
    for (unsigned int i = 1; i <= 2; ++i) {
        running.emplace_back(session, Order(100, 10 * MINUTE), MINUTE);
        ASSERT_TRUE(Eventually([&] { return TasksListed(session) == i; }));
    }
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 10 * MINUTE)); }).code,
              NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    StopInOrder(server);
}

TEST(CollectionsTest, NoCollectionRunsUnderALimitOfZero)
{
    Server server("HugeTaskLimit = 0\n");
    const Session session(server.Address(), "alice");
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(10, 10)); }).code, NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    StopInOrder(server);
}

}  // namespace
}  // namespace northbound
