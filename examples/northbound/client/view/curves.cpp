#include "client/view/curves.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "client/view/table.h"

namespace northbound {
namespace {

constexpr double PAUSE = 3;  // usual intervals
const std::string BYTES = "bytes";
constexpr double MOST_BYTES = 18'446'744'073'709'549'568.0;  // the largest number below 2 to the power of 64

double UsualInterval(const std::vector<double>& times)
{
    std::vector<double> intervals;
    intervals.reserve(times.size());
    for (std::size_t i = 1; i < times.size(); ++i) intervals.push_back(times[i] - times[i - 1]);
    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    return *middle;
}

std::optional<double> ValueBetween(const std::optional<std::uint64_t>& before,
                                   const std::optional<std::uint64_t>& after, double seconds, Shown shown)
{
    if (!before || !after) return std::nullopt;
    if (shown == Shown::VALUES) return (static_cast<double>(*before) + static_cast<double>(*after)) / 2;
    if (*after < *before) return std::nullopt;
    return static_cast<double>(*after - *before) / seconds;
}

std::vector<Span> SpansOf(const std::vector<double>& times, const Samples::Figure& figure, double longest,
                          Shown shown)
{
    std::vector<Span> spans;
    spans.reserve(times.size());
    double end = times.front();
    for (std::size_t i = 1; i < times.size(); ++i) {
        if (times[i] <= end) continue;  // the clock went back: until it is where it was
        const double seconds = times[i] - times[i - 1];
        const bool bKnown = times[i - 1] == end && seconds <= longest;
        spans.push_back({end, times[i],
                         bKnown ? ValueBetween(figure.m_Values[i - 1], figure.m_Values[i], seconds, shown)
                                : std::nullopt});
        end = times[i];
    }
    return spans;
}

/// What is gathered of one part of a curve.
struct Part {
    double m_Sum = 0;    // of values times seconds
    double m_Known = 0;  // seconds
};

void Distribute(const Span& span, double begin, double length, std::vector<Part>& parts)
{
    const auto nLast = parts.size() - 1;
    const auto partAt = [&](double time) {
        return std::min(static_cast<std::size_t>(std::max((time - begin) / length, 0.0)), nLast);
    };
    for (std::size_t i = partAt(span.m_Begin); i <= partAt(span.m_End); ++i) {
        const double from = std::max(span.m_Begin, begin + static_cast<double>(i) * length);
        const double to = std::min(span.m_End, begin + static_cast<double>(i + 1) * length);
        if (to <= from) continue;
        parts[i].m_Sum += *span.m_Value * (to - from);
        parts[i].m_Known += to - from;
    }
}

}  // namespace

bool Curve::HasValues() const
{
    return std::any_of(m_Spans.begin(), m_Spans.end(), [](const Span& span) { return span.m_Value; });
}

double Curve::Lowest() const
{
    std::optional<double> lowest;
    for (const Span& span : m_Spans) {
        if (span.m_Value && (!lowest || *span.m_Value < *lowest)) lowest = span.m_Value;
    }
    return lowest.value_or(0);
}

double Curve::Highest() const
{
    double highest = 0;
    for (const Span& span : m_Spans) highest = std::max(highest, span.m_Value.value_or(0));
    return highest;
}

double Curve::Mean() const
{
    Part all;
    for (const Span& span : m_Spans) {
        if (!span.m_Value) continue;
        all.m_Sum += *span.m_Value * (span.m_End - span.m_Begin);
        all.m_Known += span.m_End - span.m_Begin;
    }
    return all.m_Known > 0 ? all.m_Sum / all.m_Known : 0;
}

std::string UnitOf(const std::string& name)
{
    const auto isCapital = [](char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; };
    const auto capital = std::find_if(name.rbegin(), name.rend(), isCapital);
    std::string unit(capital == name.rend() ? name.begin() : capital.base() - 1, name.end());
    if (!unit.empty()) unit[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(unit[0])));
    return unit;
}

std::vector<Curve> CurvesOf(const Samples& samples, Shown shown)
{
    std::vector<Curve> curves;
    curves.reserve(samples.m_Figures.size());
    const double longest = samples.m_Times.size() < 2 ? 0 : PAUSE * UsualInterval(samples.m_Times);
    for (const Samples::Figure& figure : samples.m_Figures) {
        Curve curve{figure.m_Name, UnitOf(figure.m_Name) + (shown == Shown::RATES ? "/s" : ""), {}};
        if (!samples.m_Times.empty()) curve.m_Spans = SpansOf(samples.m_Times, figure, longest, shown);
        curves.push_back(std::move(curve));
    }
    return curves;
}

Curve InParts(const Curve& curve, std::size_t nParts)
{
    Curve reduced{curve.m_Name, curve.m_Unit, {}};
    if (curve.m_Spans.empty() || nParts == 0) return reduced;
    const double begin = curve.m_Spans.front().m_Begin;
    const double length = (curve.m_Spans.back().m_End - begin) / static_cast<double>(nParts);
    std::vector<Part> parts(nParts);
    for (const Span& span : curve.m_Spans) {
        if (span.m_Value) Distribute(span, begin, length, parts);
    }
    reduced.m_Spans.reserve(nParts);
    for (std::size_t i = 0; i < nParts; ++i) {
        Span span{begin + static_cast<double>(i) * length, begin + static_cast<double>(i + 1) * length, {}};
        if (parts[i].m_Known >= length / 2) span.m_Value = parts[i].m_Sum / parts[i].m_Known;
        reduced.m_Spans.push_back(span);
    }
    return reduced;
}

std::string AmountText(double value, const std::string& unit)
{
    if (unit.compare(0, BYTES.size(), BYTES) == 0) {
        const double bytes = std::min(std::round(value), MOST_BYTES);
        return BytesText(static_cast<unsigned long long>(bytes)) + unit.substr(BYTES.size());
    }
    constexpr std::array<const char*, 7> PREFIXES = {"", "k ", "M ", "G ", "T ", "P ", "E "};
    std::size_t nPrefix = 0;
    for (; value >= 999.95 && nPrefix + 1 < PREFIXES.size(); value /= 1000) ++nPrefix;
    char text[32];
    std::snprintf(text, sizeof(text), "%.4g ", value < 0.001 ? 0 : std::round(value * 1000) / 1000);
    return text + std::string(PREFIXES[nPrefix]) + unit;
}

}  // namespace northbound
