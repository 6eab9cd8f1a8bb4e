#include "client/view/liveview.h"

#include <algorithm>

#include "client/texts/texts.h"
#include "client/view/columns.h"

namespace northbound {
namespace {

/// The cursor has a row of its own below them.
std::vector<std::string> Fitting(std::vector<std::string> lines, const Screen& screen)
{
    const std::size_t nRoom = std::max<std::size_t>(screen.m_nRows, 2) - 1;
    if (lines.size() > nRoom) {
        const std::size_t nLeftOut = lines.size() - nRoom + 1;
        lines.resize(nRoom - 1);
        lines.push_back("  ... " + Say("{1} more", {std::to_string(nLeftOut)}));
    }
    for (std::string& line : lines) line = CutTo(screen.m_nColumns, line);
    return lines;
}

}  // namespace

std::size_t LiveView::RowsDrawn(const Screen& screen) const
{
    std::size_t nRows = 0;
    for (const std::string& line : m_Drawn) {
        nRows += (std::max<std::size_t>(ColumnsOf(line), 1) - 1) / screen.m_nColumns + 1;
    }
    return nRows;
}

/// Line by line: some terminals keep what is erased from their first row on among the lines that have scrolled away.
std::string LiveView::Draw(const std::vector<std::string>& lines, const Screen& screen)
{
    const std::size_t nRows = RowsDrawn(screen);
    std::string text = nRows == 0 ? "" : "\033[" + std::to_string(nRows) + "A";
    m_Drawn = Fitting(lines, screen);
    for (const std::string& line : m_Drawn) text += "\033[K" + line + "\n";
    return nRows > m_Drawn.size() ? text + "\033[J" : text;
}

}  // namespace northbound
