#include "client/view/liveview.h"

#include <gtest/gtest.h>

namespace northbound {
namespace {

using Lines = std::vector<std::string>;

TEST(LiveViewTest, NextLinesTakeThePlaceOfTheLast)
{
    LiveView view;
    const Screen screen{40, 8, false};
    EXPECT_EQ(view.Draw({"a", "b"}, screen), "\033[Ka\n\033[Kb\n");
    EXPECT_EQ(view.Draw({"c", "d"}, screen), "\033[2A\033[Kc\n\033[Kd\n");
    EXPECT_EQ(view.Draw({"e"}, screen), "\033[2A\033[Ke\n\033[J") << "the second stays";
    EXPECT_EQ(view.Draw({}, screen), "\033[1A\033[J");
    EXPECT_EQ(view.Draw({}, screen), "");
}

TEST(LiveViewTest, LinesThatDoNotFitTheHeightAreCounted)
{
    LiveView view;
    EXPECT_EQ(view.Draw({"a", "b", "c", "d"}, Screen{40, 5, false}), "\033[Ka\n\033[Kb\n\033[Kc\n\033[Kd\n");
    EXPECT_EQ(view.Draw({"a", "b", "c", "d"}, Screen{40, 4, false}),
              "\033[4A\033[Ka\n\033[Kb\n\033[K  ... 2 more\n\033[J");
    EXPECT_EQ(view.Draw({"a", "b"}, Screen{40, 1, false}), "\033[3A\033[K  ... 2 more\n\033[J");
}

TEST(LiveViewTest, LinesAreCutToTheWidth)
{
    LiveView view;
    EXPECT_EQ(view.Draw({"0123456789"}, Screen{10, 5, false}), "\033[K0123456789\n");
    EXPECT_EQ(view.Draw({"0123456789"}, Screen{9, 5, false}), "\033[2A\033[K01234567~\n\033[J")
        << "the terminal has wrapped the longer line";
}

}  // namespace
}  // namespace northbound
