#include "server/serving/timetable.h"

#include <gtest/gtest.h>

#include <string>

namespace northbound {
namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

class TimetableTest : public ::testing::Test {
protected:
    void Add(microseconds interval, const std::string& name)
    {
        m_Timetable.Add(interval, [this, name] { m_Done += name; });
    }

    /// What is done after \p time more.
    std::string DoneAfter(microseconds time)
    {
        m_Now += time;
        m_Done.clear();
        m_Timetable.Run();
        return m_Done;
    }

    Timetable::Clock::time_point m_Now;
    Timetable m_Timetable{[this] { return m_Now; }};
    std::string m_Done;
};

TEST_F(TimetableTest, WorkWithoutAnIntervalIsNeverDue)
{
    Add(seconds(0), "a");
    EXPECT_EQ(m_Timetable.Left(), Timetable::LONGEST_WAIT);
    EXPECT_EQ(DoneAfter(hours(10)), "");
}

TEST_F(TimetableTest, WorkIsDueOnceAnIntervalInItsOrder)
{
    Add(seconds(3), "a");
    Add(seconds(2), "b");
    EXPECT_EQ(DoneAfter(seconds(1)), "");
    EXPECT_EQ(DoneAfter(seconds(1)), "b");
    EXPECT_EQ(DoneAfter(seconds(0)), "");
    EXPECT_EQ(DoneAfter(seconds(1)), "a");
    EXPECT_EQ(DoneAfter(seconds(5)), "ab") << "what was missed is not made up for";
    EXPECT_EQ(DoneAfter(seconds(1)), "");
}

TEST_F(TimetableTest, WaitIsUntilTheFirstWorkRoundedUp)
{
    Add(hours(2), "a");
    EXPECT_EQ(m_Timetable.Left(), Timetable::LONGEST_WAIT);
    Add(microseconds(1'500), "b");
    EXPECT_EQ(m_Timetable.Left(), milliseconds(2)) << "so that nobody waits in circles";
    m_Now += seconds(1);
    EXPECT_EQ(m_Timetable.Left(), milliseconds(0));
}

}  // namespace
}  // namespace northbound
