#include "client/view/plotscript.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace northbound {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Curve Of(const std::string& name, const std::vector<std::optional<double>>& values)
{
    Curve curve{name, UnitOf(name) + "/s", {}};
    double time = 0;
    for (const std::optional<double>& value : values) {
        curve.m_Spans.push_back({time, time + 2, value});
        time += 2;
    }
    return curve;
}

TEST(PlotScriptTest, UnknownIsAnEmptyLineWhichEndsALine)
{
    EXPECT_THAT(PlotScript({Of("rxBytes", {1.0, std::nullopt, 2.0})}, {"title", false}),
                HasSubstr("$curve0 << END\n1.000 1.000\n\n5.000 2.000\n"));
}

TEST(PlotScriptTest, EachUnitHasItsOwnAxis)
{
    const std::string script =
        PlotScript({Of("rxBytes", {1.0}), Of("rxPackets", {5.0}), Of("txBytes", {2.0})}, {"title", false});
    EXPECT_THAT(script, HasSubstr("set multiplot layout 2,1 title 'title'"));
    EXPECT_THAT(script, HasSubstr("set ylabel 'B/s'"));
    EXPECT_THAT(script, HasSubstr("set ylabel 'packets/s'"));
    EXPECT_THAT(script, HasSubstr("title 'txBytes'"));
}

TEST(PlotScriptTest, ValuesStandInAUnitAsLargeAsTheyAre)
{
    const std::string bytes = PlotScript({Of("rxBytes", {3000.0 * 1024})}, {"", false});
    EXPECT_THAT(bytes, HasSubstr("set ylabel 'MiB/s'"));
    EXPECT_THAT(bytes, HasSubstr("using 1:($2/1048576.000)"));
    EXPECT_THAT(bytes, HasSubstr("set ytics 0.500\n"));
    const std::string packets = PlotScript({Of("rxPackets", {12345.0})}, {"", false});
    EXPECT_THAT(packets, HasSubstr("set ylabel 'k packets/s'"));
    EXPECT_THAT(packets, HasSubstr("set ytics autofreq\n"));
    EXPECT_THAT(PlotScript({Of("rxBytes", {0.0})}, {"", false}), HasSubstr("set yrange [0:1.000]"));
}

TEST(PlotScriptTest, TextsHaveNoMeaning)
{
    const std::string script = PlotScript({Of("rxBytes", {1.0})}, {"a'; system 'touch x'; '\nquit", false});
    EXPECT_THAT(script, HasSubstr("title 'a''; system ''touch x''; ''?quit' "));
}

TEST(PlotScriptTest, LightAndDarkDiffer)
{
    const std::vector<Curve> curves{Of("rxBytes", {1.0})};
    EXPECT_THAT(PlotScript(curves, {"", false}), HasSubstr("background '#ffffff'"));
    EXPECT_THAT(PlotScript(curves, {"", true}), HasSubstr("background '#16181d'"));
}

TEST(PlotScriptTest, LongCurveIsDrawnInAThousandParts)
{
    const std::vector<std::optional<double>> values(50'000, 1.0);
    EXPECT_LT(PlotScript({Of("rxBytes", values)}, {"", false}).size(), 100'000U);
}

TEST(PlotScriptTest, CurveWithoutValuesIsLeftOut)
{
    const std::string script = PlotScript({Of("rxBytes", {std::nullopt}), Of("txBytes", {1.0})}, {"", false});
    EXPECT_THAT(script, Not(HasSubstr("rxBytes")));
    EXPECT_THAT(script, HasSubstr("title 'txBytes'"));
}

}  // namespace
}  // namespace northbound
