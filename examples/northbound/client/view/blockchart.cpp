#include "client/view/blockchart.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "client/texts/texts.h"
#include "client/view/blocks.h"
#include "client/view/columns.h"

namespace northbound {
namespace {

constexpr std::size_t ROWS = 6;
constexpr std::size_t FEWEST = 10;  // columns of a curve, however narrow the terminal is

std::string TimeOfDay(double time)
{
    const auto nTime = static_cast<std::time_t>(std::floor(time));
    std::tm utc{};
    gmtime_r(&nTime, &utc);
    char text[16];
    std::strftime(text, sizeof(text), "%H:%M:%S", &utc);
    return text;
}

std::string Blanks(std::size_t nCount)
{
    return std::string(nCount, ' ');
}

/// How high a value stands, in eighths of a row; something of it is seen always.
std::size_t HeightOf(double value, double highest)
{
    if (highest <= 0) return 1;
    const double height = std::round(value / highest * static_cast<double>(ROWS * BLOCKS.size()));
    return std::max<std::size_t>(static_cast<std::size_t>(height), 1);
}

/// \param nRow from below
std::string Row(const Curve& curve, double highest, std::size_t nRow)
{
    std::string row;
    for (const Span& span : curve.m_Spans) {
        const std::size_t nHeight = span.m_Value ? HeightOf(*span.m_Value, highest) : 0;
        const std::size_t nBelow = nRow * BLOCKS.size();
        row += nHeight <= nBelow ? " " : BLOCKS[std::min(nHeight - nBelow, BLOCKS.size()) - 1];
    }
    return row;
}

std::string Heading(const Curve& curve)
{
    if (!curve.HasValues()) return Say("{1}: nothing was read", {curve.m_Name});
    return Say("{1}: {2} on average, at most {3}", {curve.m_Name, AmountText(curve.Mean(), curve.m_Unit),
                                                    AmountText(curve.Highest(), curve.m_Unit)});
}

std::string TimeLine(const Curve& curve, std::size_t nIndent)
{
    const std::string first = TimeOfDay(curve.m_Spans.front().m_Begin);
    const std::string last = TimeOfDay(curve.m_Spans.back().m_End) + " UTC";
    const std::size_t nUsed = first.size() + last.size();
    const std::size_t nColumns = curve.m_Spans.size();
    return Blanks(nIndent) + first + Blanks(nColumns > nUsed ? nColumns - nUsed : 1) + last;
}

}  // namespace

std::vector<std::string> BlockChart(const Curve& curve, std::size_t nColumns)
{
    const double highest = InParts(curve, nColumns).Highest();
    const std::string top = AmountText(highest, curve.m_Unit);
    const std::size_t nLabel = ColumnsOf(top);
    const std::size_t nUsed = nLabel + 2;  // a blank and the axis
    const Curve shown = InParts(curve, nColumns > nUsed + FEWEST ? nColumns - nUsed : FEWEST);
    std::vector<std::string> lines{Heading(curve)};
    lines.reserve(ROWS + 3);
    for (std::size_t nRow = ROWS; nRow-- > 0;) {
        const std::string label = nRow + 1 == ROWS ? top : Blanks(nLabel - 1) + (nRow == 0 ? "0" : " ");
        lines.push_back(label + " │" + Row(shown, highest, nRow));
    }
    std::string axis = Blanks(nLabel + 1) + "└";
    for (std::size_t i = 0; i < shown.m_Spans.size(); ++i) axis += "─";
    lines.push_back(axis);
    lines.push_back(TimeLine(shown, nUsed));
    for (std::string& line : lines) line = CutTo(nColumns, line);
    return lines;
}

}  // namespace northbound
