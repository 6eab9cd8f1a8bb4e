// Any bytes as the file of a collection that the client draws. A first byte says how, and how many columns a chart may take.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "client/commands/inputerror.h"
#include "client/commands/samplefile.h"
#include "client/view/blockchart.h"
#include "client/view/plotscript.h"
#include "fuzz/demand.h"
#include "fuzz/memoryfile.h"

namespace {

using namespace northbound;
using nbitest::Demand;

struct Choice {
    Shown m_Shown;
    std::size_t m_nColumns;
    bool m_bDark;

    explicit Choice(unsigned int nByte)
        : m_Shown((nByte & 1U) != 0 ? Shown::VALUES : Shown::RATES),
          m_nColumns(nByte >> 1),
          m_bDark((nByte & 2U) != 0)
    {
    }
};

/// Each whole line behind the first is a sample, and each figure has something to say about each of them.
void CheckSamples(const Samples& samples, const std::string& file)
{
    const auto nLines = std::count(file.begin(), file.end(), '\n');
    Demand(samples.m_Times.size() + 1 == static_cast<std::size_t>(nLines), "a line is a sample");
    Demand(!samples.m_Figures.empty() && samples.m_Figures.size() <= MOST_FIGURES, "the number of figures");
    for (const Samples::Figure& figure : samples.m_Figures) {
        Demand(figure.m_Values.size() == samples.m_Times.size(), "a value or none for each sample");
    }
}

void CheckCurve(const Curve& curve)
{
    const auto bLater = [](const Span& one, const Span& next) { return one.m_End <= next.m_Begin; };
    const auto bBackwards = [](const Span& span) { return !(span.m_Begin <= span.m_End); };
    const auto& spans = curve.m_Spans;
    Demand(std::none_of(spans.begin(), spans.end(), bBackwards), "time goes on");
    const auto bOverlap = [&](const Span& one, const Span& next) { return !bLater(one, next); };
    Demand(std::adjacent_find(spans.begin(), spans.end(), bOverlap) == spans.end(), "one behind the other");
    if (!curve.HasValues()) return;
    Demand(curve.Lowest() <= curve.Highest(), "lowest and highest");
}

void Draw(const Samples& samples, const Choice& choice)
{
    const std::vector<Curve> curves = CurvesOf(samples, choice.m_Shown);
    Demand(curves.size() == samples.m_Figures.size(), "a curve for each figure");
    for (const Curve& curve : curves) {
        CheckCurve(curve);
        if (curve.HasValues()) Demand(!BlockChart(curve, choice.m_nColumns).empty(), "a chart");
    }
    const bool bAny =
        std::any_of(curves.begin(), curves.end(), [](const Curve& curve) { return curve.HasValues(); });
    if (bAny) Demand(!PlotScript(curves, {"title", choice.m_bDark}).empty(), "a picture");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const Choice choice(nSize == 0 ? 0 : *pData);
    const std::string text(pData + std::min<std::size_t>(nSize, 1), pData + nSize);
    const nbitest::MemoryFile file(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    try {
        const Samples samples = ReadSamples(file.Path(), {});
        CheckSamples(samples, text);
        Draw(samples, choice);
    } catch (const InputError&) {
        return 0;  // it is told what is wrong, and where
    }
    return 0;
}
