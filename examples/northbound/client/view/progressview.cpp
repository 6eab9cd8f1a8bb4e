#include "client/view/progressview.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "client/view/format.h"
#include "client/view/output.h"
#include "client/view/table.h"

namespace northbound {
namespace {

constexpr unsigned int BAR_WIDTH = 20;

std::string PortName(const std::string& dn)
{
    const std::size_t nMark = dn.rfind("port=");
    return Printable(nMark == std::string::npos ? dn : dn.substr(nMark + 5));
}

}  // namespace

std::string ProgressBar(unsigned int nDone, unsigned int nAll)
{
    const unsigned int nFull =
        nAll == 0 ? 0 : static_cast<unsigned int>(std::min(1.0, 1.0 * nDone / nAll) * BAR_WIDTH);
    return "[" + std::string(nFull, '#') + std::string(BAR_WIDTH - nFull, '.') + "] " +
           std::to_string(nDone) + "/" + std::to_string(nAll);
}

ProgressView::ProgressView(bool bJson) : m_bJson(bJson), m_bTerminal(!bJson && isatty(STDOUT_FILENO) != 0)
{
}

void ProgressView::Show(const Northbound::HugeTaskList& tasks)
{
    Print(tasks);
    FlushOutput();
}

void ProgressView::Print(const Northbound::HugeTaskList& tasks)
{
    if (m_bTerminal) return Redraw(tasks);
    if (std::chrono::steady_clock::now() < m_NextLine && tasks.length() > 0) return;
    m_NextLine = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    if (m_bJson) {
        std::cout << ToJson(tasks) << '\n';
    } else if (tasks.length() > 0) {
        AddLine(tasks);
    }
}

void ProgressView::Redraw(const Northbound::HugeTaskList& tasks)
{
    if (m_nDrawn > 0) std::cout << "\033[" << m_nDrawn << "A\033[J";
    for (CORBA::ULong i = 0; i < tasks.length(); ++i) {
        std::cout << "  " << PortName(tasks[i].dn.in()) << " for " << Printable(tasks[i].user.in()) << "  "
                  << ProgressBar(tasks[i].samplesTaken, tasks[i].samplesPlanned) << '\n';
    }
    m_nDrawn = tasks.length();
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
