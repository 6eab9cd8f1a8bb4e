/// \file
/// Curves as a program of gnuplot's.
#pragma once

#include <string>
#include <vector>

#include "client/view/curves.h"

namespace northbound {

struct PlotStyle {
    std::string m_Title;
    bool m_bDark = false;
};

/// Draws an SVG of \p curves to standard output: below each other those of one unit each, on one axis of time. Needs
/// gnuplot 5.2. Names and title may be any text: nothing in them is a command. A curve of more than 1,000 spans is
/// drawn in as many parts, one of which nothing is known not at all.
/// \param curves at least one of which something is known
std::string PlotScript(const std::vector<Curve>& curves, const PlotStyle& style);

}  // namespace northbound
