// When collections take their samples, and what they say when that was too late.
#include "server/operations/collection.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "northbound/elementtree.h"
#include "northbound/server/operations/inprocess.h"

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// A network element whose table is written when somebody reads it: a pipe.
class SlowElement {
public:
    SlowElement()
    {
        std::filesystem::remove(Path());
        EXPECT_EQ(mkfifo(Path().c_str(), 0600), 0);
    }

    /// Answers one reading, which takes so long that \p time has come.
    void AnswerAt(Clock::time_point time) const
    {
        const int nPipe = open(Path().c_str(), O_WRONLY | O_CLOEXEC);  // returns when there is a reader
        std::this_thread::sleep_until(time);
        const std::string table = "p0: 1\n";
        EXPECT_EQ(write(nPipe, table.data(), table.size()), static_cast<ssize_t>(table.size()));
        std::filesystem::rename(Path(), Path() + ".used");  // the next reading has a pipe of its own
        EXPECT_EQ(mkfifo(Path().c_str(), 0600), 0);
        close(nPipe);
    }

    std::string Root() const { return m_Tree.Root(); }

private:
    std::string Path() const { return Root() + "/proc/net/dev"; }

    ElementTree m_Tree;
};

TEST(CollectionTest, SamplesThatComeAnIntervalTooLateAreCounted)
{
    constexpr unsigned int INTERVAL = 1000;
    const SlowElement element;
    InProcessServer server("ElementRoot = " + element.Root() + "\n");
    std::thread slow([&element] {
        element.AnswerAt(Clock::now());                                   // is there such a port?
        element.AnswerAt(Clock::now() + milliseconds(5 * INTERVAL / 2));  // more than two intervals behind
        element.AnswerAt(Clock::now());  // the second sample, late by what the first took
    });
    const auto outcome = server.Ask<Collect>({ElementTree::DnOf("p0"), INTERVAL, INTERVAL});
    slow.join();
    ASSERT_EQ(CodeOf(outcome), 0u);
    EXPECT_EQ(std::get<Collect::Result>(outcome).m_nSamples, 2u);
    EXPECT_EQ(std::get<Collect::Result>(outcome).m_nLate, 2u);
    EXPECT_NE(server.LogText().find(" 2 of 2 samples late: "), std::string::npos);
}

TEST(CollectionTest, CollectionThatIsInTimeHasNoLateSamples)
{
    ElementTree tree;
    tree.Show({"p0"});
    InProcessServer server("ElementRoot = " + tree.Root() + "\n");
    const auto outcome = server.Ask<Collect>({"p0", 2000, 2000});
    ASSERT_EQ(CodeOf(outcome), 0u);
    EXPECT_EQ(std::get<Collect::Result>(outcome).m_Dn, ElementTree::DnOf("p0"));
    EXPECT_EQ(std::get<Collect::Result>(outcome).m_nLate, 0u);
}

}  // namespace
}  // namespace northbound
