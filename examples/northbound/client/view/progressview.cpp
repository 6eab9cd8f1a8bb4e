#include "client/view/progressview.h"

#include <algorithm>
#include <iostream>
#include <vector>

#include "client/texts/texts.h"
#include "client/view/columns.h"
#include "client/view/format.h"
#include "client/view/output.h"
#include "client/view/table.h"

namespace northbound {
namespace {

constexpr std::size_t BAR_WIDTH = 20;
constexpr std::size_t SHORTEST_BAR = 4;

std::string PortName(const std::string& dn)
{
    const std::size_t nMark = dn.rfind("port=");
    return Printable(nMark == std::string::npos ? dn : dn.substr(nMark + 5));
}

}  // namespace

std::string ProgressBar(unsigned int nDone, unsigned int nAll, std::size_t nWidth)
{
    const double share = nAll == 0 ? 0 : std::min(1.0, 1.0 * nDone / nAll);
    const auto nFull = static_cast<std::size_t>(share * static_cast<double>(nWidth));
    return "[" + std::string(nFull, '#') + std::string(nWidth - nFull, '.') + "] " + std::to_string(nDone) +
           "/" + std::to_string(nAll);
}

std::string ProgressLine(const Northbound::HugeTask& task, std::size_t nColumns)
{
    const std::string names = "  " + Say("{1} for {2}", {PortName(task.dn.in()), Printable(task.user.in())});
    const std::string count = std::to_string(task.samplesTaken) + "/" + std::to_string(task.samplesPlanned);
    const std::size_t nOthers = ColumnsOf(names + "  [] " + count);
    if (nOthers + SHORTEST_BAR <= nColumns) {
        const std::size_t nWidth = std::min(BAR_WIDTH, nColumns - nOthers);
        return names + "  " + ProgressBar(task.samplesTaken, task.samplesPlanned, nWidth);
    }
    const std::size_t nBehind = count.size() + 1;
    return CutTo(nColumns - std::min(nColumns, nBehind), names) + " " + count;
}

void ProgressView::Show(const Northbound::HugeTaskList& tasks)
{
    Print(tasks);
    FlushOutput();
}

void ProgressView::Print(const Northbound::HugeTaskList& tasks)
{
    const Screen screen = OutputScreen();
    if (screen.IsTerminal() && !m_bJson) return Redraw(tasks, screen);
    if (std::chrono::steady_clock::now() < m_NextLine && tasks.length() > 0) return;
    m_NextLine = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    if (m_bJson) {
        std::cout << ToJson(tasks) << '\n';
    } else if (tasks.length() > 0) {
        AddLine(tasks);
    }
}

void ProgressView::Redraw(const Northbound::HugeTaskList& tasks, const Screen& screen)
{
    std::vector<std::string> lines;
    for (CORBA::ULong i = 0; i < tasks.length(); ++i) {
        lines.push_back(ProgressLine(tasks[i], screen.m_nColumns));
    }
    std::cout << m_Live.Draw(lines, screen);
}

void ProgressView::AddLine(const Northbound::HugeTaskList& tasks)
{
    for (CORBA::ULong i = 0; i < tasks.length(); ++i) {
        std::cout << (i == 0 ? "  " : "  | ") << PortName(tasks[i].dn.in()) << ' '
                  << ProgressBar(tasks[i].samplesTaken, tasks[i].samplesPlanned);
    }
    std::cout << '\n';
}

}  // namespace northbound
