#include "client/view/curves.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace northbound {
namespace {

using ::testing::ElementsAre;
using Values = std::vector<std::optional<std::uint64_t>>;

Samples Read(std::vector<double> times, Values values)
{
    Samples samples;
    samples.m_Times = std::move(times);
    samples.m_Figures = {{"rxBytes", std::move(values)}};
    return samples;
}

std::vector<std::optional<double>> ValuesOf(const Curve& curve)
{
    std::vector<std::optional<double>> values;
    values.reserve(curve.m_Spans.size());
    for (const Span& span : curve.m_Spans) values.push_back(span.m_Value);
    return values;
}

Curve RatesOf(std::vector<double> times, Values values)
{
    return CurvesOf(Read(std::move(times), std::move(values)), Shown::RATES).at(0);
}

TEST(CurvesTest, RateIsGrowthASecond)
{
    const Curve curve = RatesOf({100, 102, 104}, {1000, 1010, 1110});
    EXPECT_EQ(curve.m_Name, "rxBytes");
    EXPECT_EQ(curve.m_Unit, "bytes/s");
    EXPECT_THAT(ValuesOf(curve), ElementsAre(5.0, 50.0));
    EXPECT_EQ(curve.m_Spans[0].m_Begin, 100);
    EXPECT_EQ(curve.m_Spans[0].m_End, 102);
}

TEST(CurvesTest, LargeCountersLoseNothing)
{
    constexpr std::uint64_t LARGE = 18'446'744'073'709'551'000U;
    EXPECT_THAT(ValuesOf(RatesOf({0, 1}, {LARGE, LARGE + 3})), ElementsAre(3.0));
}

TEST(CurvesTest, ValuesAreTheMeanOfBothEnds)
{
    const Curve curve = CurvesOf(Read({0, 1, 2}, {4, 6, 0}), Shown::VALUES).at(0);
    EXPECT_EQ(curve.m_Unit, "bytes");
    EXPECT_THAT(ValuesOf(curve), ElementsAre(5.0, 3.0));
}

TEST(CurvesTest, NothingIsKnownBesideAMissingSample)
{
    EXPECT_THAT(ValuesOf(RatesOf({0, 1, 2, 3}, {1, std::nullopt, 3, 4})),
                ElementsAre(std::nullopt, std::nullopt, 1.0));
}

TEST(CurvesTest, CounterThatBeganAnewIsAGap)
{
    EXPECT_THAT(ValuesOf(RatesOf({0, 1, 2}, {9, 3, 4})), ElementsAre(std::nullopt, 1.0));
    EXPECT_THAT(ValuesOf(CurvesOf(Read({0, 1}, {9, 3}), Shown::VALUES).at(0)), ElementsAre(6.0))
        << "what goes up and down may fall";
}

TEST(CurvesTest, LongPauseIsAGap)
{
    EXPECT_THAT(ValuesOf(RatesOf({0, 1, 2, 5, 6, 10}, {0, 1, 2, 5, 6, 10})),
                ElementsAre(1.0, 1.0, 1.0, 1.0, std::nullopt));
}

TEST(CurvesTest, NothingIsKnownUntilAClockThatWentBackIsWhereItWas)
{
    const Curve curve = RatesOf({10, 11, 5, 6, 12, 13}, {0, 1, 2, 3, 4, 5});
    EXPECT_THAT(ValuesOf(curve), ElementsAre(1.0, std::nullopt, 1.0));
    EXPECT_EQ(curve.m_Spans[1].m_Begin, 11);
    EXPECT_EQ(curve.m_Spans[1].m_End, 12);
}

TEST(CurvesTest, OneSampleMakesNoCurve)
{
    EXPECT_FALSE(RatesOf({1}, {5}).HasValues());
    EXPECT_FALSE(RatesOf({}, {}).HasValues());
}

TEST(CurvesTest, MeanIsOverTheTimeThatIsKnown)
{
    const Curve curve = RatesOf({0, 1, 3, 4}, {0, 6, 6, std::nullopt});
    EXPECT_EQ(curve.Mean(), 2);
    EXPECT_EQ(curve.Lowest(), 0);
    EXPECT_EQ(curve.Highest(), 6);
}

TEST(CurvesTest, PartsHaveTheMeanOfTheirTime)
{
    const Curve curve = InParts(RatesOf({0, 1, 2, 3, 4}, {0, 2, 6, 6, 6}), 2);
    EXPECT_THAT(ValuesOf(curve), ElementsAre(3.0, 0.0));
    EXPECT_EQ(curve.m_Spans[1].m_Begin, 2);
    EXPECT_EQ(curve.m_Spans[1].m_End, 4);
}

TEST(CurvesTest, MorePartsThanSamplesShowStairs)
{
    EXPECT_THAT(ValuesOf(InParts(RatesOf({0, 1, 2}, {0, 1, 3}), 4)), ElementsAre(1.0, 1.0, 2.0, 2.0));
}

TEST(CurvesTest, PartThatIsMostlyUnknownIsAGap)
{
    const Curve curve = RatesOf({0, 1, 2, 3, 4, 5, 6}, {0, 1, std::nullopt, std::nullopt, 4, 5, 6});
    EXPECT_THAT(ValuesOf(InParts(curve, 2)), ElementsAre(std::nullopt, 1.0));
}

TEST(UnitTest, IsTheLastWordOfTheName)
{
    EXPECT_EQ(UnitOf("rxBytes"), "bytes");
    EXPECT_EQ(UnitOf("collisions"), "collisions");
    EXPECT_EQ(UnitOf("carrierChanges"), "changes");
    EXPECT_EQ(UnitOf("Bytes"), "bytes");
    EXPECT_EQ(UnitOf(""), "");
}

TEST(AmountTest, BytesGoBy1024AndOthersBy1000)
{
    EXPECT_EQ(AmountText(1536, "bytes/s"), "1.5 KiB/s");
    EXPECT_EQ(AmountText(12345, "packets/s"), "12.35 k packets/s");
    EXPECT_EQ(AmountText(0.25, "changes/s"), "0.25 changes/s");
    EXPECT_EQ(AmountText(0, "errors/s"), "0 errors/s");
    EXPECT_EQ(AmountText(1.2e19, "bytes"), "10.4 EiB");
    EXPECT_EQ(AmountText(1e25, "bytes/s"), "16.0 EiB/s");  // more than a counter grows by
}

}  // namespace
}  // namespace northbound
