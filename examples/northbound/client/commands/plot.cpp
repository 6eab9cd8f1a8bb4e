#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "client/commands/commands.h"
#include "client/commands/failure.h"
#include "client/commands/picture.h"
#include "client/commands/samplefile.h"
#include "client/texts/texts.h"
#include "client/view/blockchart.h"
#include "client/view/json.h"
#include "client/view/plotscript.h"
#include "client/view/screen.h"
#include "client/view/table.h"

namespace northbound {
namespace {

constexpr std::size_t COLUMNS = 80;  // of what is no terminal

std::vector<Curve> CurvesIn(const PlotOptions& options, const Samples& samples)
{
    std::vector<Curve> curves = CurvesOf(samples, options.m_bValues ? Shown::VALUES : Shown::RATES);
    if (std::none_of(curves.begin(), curves.end(), [](const Curve& curve) { return curve.HasValues(); })) {
        throw InputError(
            Say("{1} has nothing to draw: no two samples in a row of any of the figures", {options.m_File}));
    }
    return curves;
}

std::string Title(const PlotOptions& options, const Samples& samples)
{
    return Say("{1}: {2} samples from {3} to {4}",
               {std::filesystem::path(options.m_File).filename().string(),
                std::to_string(samples.m_Times.size()), samples.m_First, samples.m_Last});
}

std::string JsonNumber(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.9g", value);
    return text;
}

std::string ToJson(const Curve& curve)
{
    const bool bKnown = curve.HasValues();
    const auto number = [bKnown](double value) { return bKnown ? JsonNumber(value) : "null"; };
    return JsonObject()
        .Text("name", curve.m_Name)
        .Text("unit", curve.m_Unit)
        .Raw("lowest", number(curve.Lowest()))
        .Raw("mean", number(curve.Mean()))
        .Raw("highest", number(curve.Highest()))
        .Done();
}

std::string ToJson(const PlotOptions& options, const Samples& samples, const std::vector<Curve>& curves)
{
    std::vector<std::string> figures;
    figures.reserve(curves.size());
    for (const Curve& curve : curves) figures.push_back(ToJson(curve));
    return JsonObject()
        .Text("file", options.m_File)
        .Raw("picture", options.m_Picture.empty() ? "null" : JsonText(options.m_Picture))
        .Number("samples", samples.m_Times.size())
        .Text("first", samples.m_First)
        .Text("last", samples.m_Last)
        .Raw("figures", JsonArray(figures))
        .Done();
}

void PrintCharts(const PlotOptions& options, const Samples& samples, const std::vector<Curve>& curves)
{
    const Screen screen = OutputScreen();
    PrintHeading(std::cout, Printable(Title(options, samples)));
    for (const Curve& curve : curves) {
        std::cout << '\n';
        for (const std::string& line : BlockChart(curve, screen.IsTerminal() ? screen.m_nColumns : COLUMNS)) {
            std::cout << line << '\n';
        }
    }
}

}  // namespace

int PlotCollection(const OutputOptions& output, const PlotOptions& options,
                   std::chrono::milliseconds patience)
{
    const Samples samples = ReadSamples(options.m_File, options.m_Figures);
    const std::vector<Curve> curves = CurvesIn(options, samples);
    const bool bPicture = !options.m_Picture.empty();
    if (bPicture) {
        DrawPicture(PlotScript(curves, {Title(options, samples), options.m_bDark}), options.m_Picture,
                    patience);
    }
    if (output.m_bJson || bPicture) {
        return ReportDone(output, ToJson(options, samples, curves),
                          Say("{1} is drawn", {Printable(options.m_Picture)}));
    }
    PrintCharts(options, samples, curves);
    return EXIT_DONE;
}

}  // namespace northbound
