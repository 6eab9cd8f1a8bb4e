#include "client/view/plotscript.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "client/texts/texts.h"
#include "client/view/columns.h"
#include "client/view/table.h"

namespace northbound {
namespace {

constexpr std::size_t MOST_SPANS = 1000;
constexpr std::size_t FEW_SPANS = 120;  // each of them has a dot
constexpr int WIDTH = 1000;
constexpr int PANEL_HEIGHT = 260;
constexpr int TITLE_HEIGHT = 60;
constexpr std::size_t LONGEST_TITLE = 120;  // columns
constexpr double HEADROOM = 1.1;            // above the highest value
constexpr double HOUR = 3600;
constexpr double MARKS = 6;  // at the axis of values
const std::string BYTES = "bytes";

struct Theme {
    const char* m_pBackground;
    const char* m_pText;
    const char* m_pGrid;
    std::array<const char*, 8> m_Curves;  // also told apart by who sees no red or no green
};

constexpr Theme LIGHT = {
    "#ffffff",
    "#202020",
    "#d8d8d8",
    {"#0066b3", "#c44e00", "#007a5a", "#a0408a", "#6f5500", "#3b3b98", "#b00040", "#4d4d4d"}};
constexpr Theme DARK = {
    "#16181d",
    "#e4e4e4",
    "#3a3d45",
    {"#6cb8ff", "#ff9d4d", "#3ddbab", "#f08bd8", "#e6cf4d", "#a9a4ff", "#ff7d93", "#bdbdbd"}};

/// A text of gnuplot's in which nothing has a meaning of its own.
std::string Quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char c : Printable(text)) quoted += c == '\'' ? std::string("''") : std::string(1, c);
    return quoted + "'";
}

std::string Number(double value)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.3f", value);
    return text;
}

/// The curves of one unit, by their places.
struct Panel {
    std::string m_Unit;
    std::vector<std::size_t> m_Curves;
    double m_Highest = 0;
};

std::vector<Panel> PanelsOf(const std::vector<Curve>& curves)
{
    std::vector<Panel> panels;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        auto panel = std::find_if(panels.begin(), panels.end(),
                                  [&](const Panel& other) { return other.m_Unit == curves[i].m_Unit; });
        if (panel == panels.end()) panel = panels.insert(panel, {curves[i].m_Unit, {}, 0});
        panel->m_Curves.push_back(i);
        panel->m_Highest = std::max(panel->m_Highest, curves[i].Highest());
    }
    return panels;
}

/// What stands at the axis of values: these in a unit that is as large as they are, and marks at round numbers of it.
struct Scale {
    std::string m_Unit;
    double m_Size = 1;
    std::string m_Marks;  // how far apart; "" leaves it to gnuplot
};

Scale ScaleOf(const Panel& panel)
{
    constexpr std::array<const char*, 7> PREFIXES = {"", "k", "M", "G", "T", "P", "E"};
    const bool bBytes = panel.m_Unit.compare(0, BYTES.size(), BYTES) == 0;
    const double step = bBytes ? 1024 : 1000;
    Scale scale;
    std::size_t nPrefix = 0;
    while (panel.m_Highest / scale.m_Size >= step && nPrefix + 1 < PREFIXES.size()) {
        scale.m_Size *= step;
        ++nPrefix;
    }
    const std::string prefix = PREFIXES[nPrefix];
    if (!bBytes) {
        scale.m_Unit = prefix + (nPrefix == 0 ? "" : " ") + panel.m_Unit;
        return scale;
    }
    scale.m_Unit =
        (prefix == "k" ? "Ki" : prefix + (nPrefix == 0 ? "" : "i")) + "B" + panel.m_Unit.substr(BYTES.size());
    scale.m_Marks =
        Number(std::exp2(std::ceil(std::log2(std::max(panel.m_Highest / scale.m_Size, 1.0) / MARKS))));
    return scale;
}

std::string DataName(std::size_t nCurve)
{
    return "$curve" + std::to_string(nCurve);
}

/// A row for each span, in its middle; an empty line, which ends a line of the picture, for what is unknown.
std::string Data(const Curve& curve, std::size_t nCurve)
{
    std::string data = DataName(nCurve) + " << END\n";
    for (const Span& span : curve.m_Spans) {
        if (span.m_Value) data += Number((span.m_Begin + span.m_End) / 2) + " " + Number(*span.m_Value);
        data += "\n";
    }
    return data + "END\n";
}

std::string Settings(const Theme& theme, const PlotStyle& style, std::size_t nPanels)
{
    const int nHeight = TITLE_HEIGHT + static_cast<int>(nPanels) * PANEL_HEIGHT;
    const std::string text = std::string(" textcolor rgb '") + theme.m_pText + "'";
    return "set terminal svg noenhanced size " + std::to_string(WIDTH) + "," + std::to_string(nHeight) +
           " font 'sans-serif,14' background '" + theme.m_pBackground + "'\n" +
           "set encoding utf8\n"
           "set border 3 linecolor rgb '" +
           theme.m_pText +
           "'\n"
           "set grid linetype 1 linecolor rgb '" +
           theme.m_pGrid + "'\nset tics nomirror" + text + "\nset key outside top right horizontal" + text +
           "\nset lmargin 14\nset rmargin 3\nset multiplot layout " + std::to_string(nPanels) + ",1 title " +
           Quoted(CutTo(LONGEST_TITLE, Printable(style.m_Title))) + text + " font ',13'\n";
}

std::string TimeAxis(const Curve& curve)
{
    const double begin = curve.m_Spans.front().m_Begin;
    const double end = curve.m_Spans.back().m_End;
    return "set xrange [" + Number(begin) + ":" + Number(end) + "]\nset xtics time format '" +
           (end - begin < 2 * HOUR ? "%H:%M:%S" : "%H:%M") + "'\n";
}

std::string Drawing(const Panel& panel, const Scale& scale, const std::vector<Curve>& curves,
                    const Theme& theme)
{
    std::string drawing = "plot ";
    bool bDashed = false;  // each second one, so that two that are the same are both seen
    for (const std::size_t i : panel.m_Curves) {
        const bool bFew = curves[i].m_Spans.size() <= FEW_SPANS;
        drawing += (i == panel.m_Curves.front() ? "" : ", ") + DataName(i) + " using 1:($2/" +
                   Number(scale.m_Size) + ") with linespoints title " + Quoted(curves[i].m_Name) +
                   " linewidth 1.5 " + (bDashed ? "dashtype (14,6) " : "") + "pointtype 7 pointsize " +
                   (bFew ? "0.4" : "0.15") + " linecolor rgb '" + theme.m_Curves[i % theme.m_Curves.size()] +
                   "'";
        bDashed = !bDashed;
    }
    return drawing + "\n";
}

std::string PanelText(const Panel& panel, const std::vector<Curve>& curves, const Theme& theme)
{
    const Scale scale = ScaleOf(panel);
    const double highest = panel.m_Highest > 0 ? panel.m_Highest / scale.m_Size * HEADROOM : 1;
    return "set ylabel " + Quoted(scale.m_Unit) + " textcolor rgb '" + theme.m_pText + "'\nset ytics " +
           (scale.m_Marks.empty() ? "autofreq" : scale.m_Marks) + "\nset yrange [0:" + Number(highest) +
           "]\n" + Drawing(panel, scale, curves, theme);
}

}  // namespace

std::string PlotScript(const std::vector<Curve>& curves, const PlotStyle& style)
{
    const Theme& theme = style.m_bDark ? DARK : LIGHT;
    std::vector<Curve> drawn;
    drawn.reserve(curves.size());
    for (const Curve& curve : curves) {
        if (!curve.HasValues()) continue;
        drawn.push_back(curve.m_Spans.size() > MOST_SPANS ? InParts(curve, MOST_SPANS) : curve);
    }
    const std::vector<Panel> panels = PanelsOf(drawn);
    std::string script;
    for (std::size_t i = 0; i < drawn.size(); ++i) script += Data(drawn[i], i);
    script += Settings(theme, style, panels.size()) + TimeAxis(drawn.front());
    for (std::size_t i = 0; i < panels.size(); ++i) {
        if (i + 1 == panels.size()) {
            script +=
                "set xlabel " + Quoted(Say("time of day, UTC")) + " textcolor rgb '" + theme.m_pText + "'\n";
        }
        script += PanelText(panels[i], drawn, theme);
    }
    return script + "unset multiplot\n";
}

}  // namespace northbound
