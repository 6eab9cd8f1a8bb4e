// When files go that are kept no longer.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "northbound/server/operations/inprocess.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using std::chrono::hours;

class RetentionTest : public ::testing::Test {
protected:
    /// A file that was last written so many hours ago.
    std::string Old(const std::string& name, int nHours, std::size_t nBytes = 5) const
    {
        std::string path = m_Server.CollectionDirectory() + "/" + name;
        nbitest::WriteFile(path, std::string(nBytes, 'x'));
        fs::last_write_time(path, fs::file_time_type::clock::now() - hours(nHours));
        return path;
    }

    std::string Collect()
    {
        const auto outcome = m_Server.Ask<northbound::Collect>({"lo", 10, 10});
        EXPECT_EQ(CodeOf(outcome), 0u);
        return std::get<northbound::Collect::Result>(outcome).m_File;
    }

    static constexpr std::size_t MEGABYTE = 1'000'000;

    InProcessServer m_Server{"KeepDays = 2\nKeepMegabytes = 1\n"};
};

TEST_F(RetentionTest, ServerLooksOnceAnHourByItself)
{
    Timetable::Clock::time_point now;
    Timetable timetable([&now] { return now; });
    m_Server.Schedule(timetable);
    const std::string part = Old("perf-lo-a.csv.part", 24 * 8);
    const std::string whole = Old("perf-lo-a.csv", 24 * 3);
    const std::string young = Old("perf-lo-b.csv", 24);
    EXPECT_EQ(timetable.Left(), hours(1));
    timetable.Run();
    EXPECT_TRUE(fs::exists(part));
    now += hours(1);
    timetable.Run();
    EXPECT_FALSE(fs::exists(part));
    EXPECT_FALSE(fs::exists(whole));
    EXPECT_TRUE(fs::exists(young));
    const std::string next = Old("perf-lo-c.csv", 24 * 3);
    now += hours(1);
    timetable.Run();
    EXPECT_FALSE(fs::exists(next)) << "and again";
}

TEST_F(RetentionTest, CollectionThatEndsTakesTheRoomOfTheOldestFiles)
{
    const std::string oldest = Old("perf-lo-a.csv", 3, MEGABYTE / 2);
    const std::string older = Old("perf-lo-b.tar", 2, MEGABYTE / 2);
    const std::string file = Collect();
    EXPECT_FALSE(fs::exists(oldest));
    EXPECT_TRUE(fs::exists(older));
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(RetentionTest, CollectionThatFailsTakesRoomToo)
{
    const std::string oldest = Old("perf-lo-a.csv", 3, MEGABYTE);
    const std::string part = Old("perf-lo-b.csv.part", 2);
    EXPECT_NE(CodeOf(m_Server.Ask<northbound::Collect>({"lo", 10, 10}, "alice", [] { return true; })), 0u);
    EXPECT_FALSE(fs::exists(oldest));
    EXPECT_TRUE(fs::exists(part));
}

TEST_F(RetentionTest, PackingMakesRoomAtItsEnd)
{
    const std::string oldest = Old("perf-lo-a.csv.part", 3, MEGABYTE);
    Old("perf-lo-b.csv", 2);
    const auto outcome = m_Server.Ask<Pack>({"gzip", 1});
    ASSERT_EQ(CodeOf(outcome), 0u);
    EXPECT_FALSE(fs::exists(oldest));
    EXPECT_TRUE(fs::exists(std::get<Pack::Result>(outcome).m_Archives.at(0)));
}

TEST(RetentionByAgeTest, WaitsForTheHourWhereNoSizeIsSet)
{
    InProcessServer server("PartDays = 1\n");
    const std::string part = server.CollectionDirectory() + "/perf-lo-a.csv.part";
    nbitest::WriteFile(part, "time\n");
    fs::last_write_time(part, fs::file_time_type::clock::now() - hours(48));
    ASSERT_EQ(CodeOf(server.Ask<northbound::Collect>({"lo", 10, 10})), 0u);
    EXPECT_TRUE(fs::exists(part));
}

}  // namespace
}  // namespace northbound
