/// \file
/// Figures over time, as pictures show them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace northbound {

/// What was read of a collection's figures.
struct Samples {
    struct Figure {
        std::string m_Name;
        std::vector<std::optional<std::uint64_t>> m_Values;  // one for each time; none where nothing was read
    };
    std::vector<double> m_Times;  // seconds since 1970
    std::string m_First;          // the first and the last of them as the collection tells them
    std::string m_Last;
    std::vector<Figure> m_Figures;
};

/// A piece of time, and what a figure was in it; no value where nothing is known.
struct Span {
    double m_Begin;  // seconds since 1970
    double m_End;
    std::optional<double> m_Value;
};

struct Curve {
    std::string m_Name;
    std::string m_Unit;         // of a value, such as "bytes/s"
    std::vector<Span> m_Spans;  // one behind the other

    bool HasValues() const;
    double Lowest() const;
    double Highest() const;
    double Mean() const;  // over the time that something is known of
};

enum class Shown { RATES, VALUES };

/// What a figure counts: the last word of its name, "bytes" of "rxBytes".
std::string UnitOf(const std::string& name);

/// Each figure between one sample and the next: how much it grew a second, or what it was on average. Nothing is known
/// where a sample has no value, a counter began anew, the clock went back, or no sample was taken for more than three
/// times as long as usual.
std::vector<Curve> CurvesOf(const Samples& samples, Shown shown);

/// The same curve in \p nParts pieces of equal length, each with the mean of its time; none where more than half of that
/// is unknown.
Curve InParts(const Curve& curve, std::size_t nParts);

/// "1.5 KiB/s", "12.3 k packets/s"
std::string AmountText(double value, const std::string& unit);

}  // namespace northbound
