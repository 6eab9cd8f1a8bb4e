#include "client/view/topview.h"

#include <algorithm>
#include <tuple>

#include "client/texts/texts.h"
#include "client/view/blocks.h"
#include "client/view/columns.h"
#include "client/view/poolview.h"
#include "client/view/progressview.h"

namespace northbound {
namespace {

constexpr std::size_t BAR_WIDTH = 20;

/// The share of busy workers first, then what waits.
bool HasMoreToDo(const Northbound::Pool* pLeft, const Northbound::Pool* pRight)
{
    const auto busy = [](const Northbound::Pool* pPool, const Northbound::Pool* pOther) {
        return static_cast<unsigned long long>(pPool->busy) * std::max<CORBA::ULong>(pOther->workers, 1);
    };
    const auto nLeft = busy(pLeft, pRight);
    const auto nRight = busy(pRight, pLeft);
    return std::tie(nRight, pRight->queued, pLeft->number) < std::tie(nLeft, pLeft->queued, pRight->number);
}

}  // namespace

std::string Sparkline(const std::deque<unsigned long long>& values, std::size_t nColumns)
{
    const std::size_t nShown = std::min(values.size(), nColumns);
    const auto first = values.end() - static_cast<std::ptrdiff_t>(nShown);
    const unsigned long long nHighest = nShown == 0 ? 0 : *std::max_element(first, values.end());
    std::string line;
    for (auto value = first; value != values.end(); ++value) {
        const double share = nHighest == 0 ? 0 : static_cast<double>(*value) / static_cast<double>(nHighest);
        const auto nBlock = static_cast<std::size_t>(share * static_cast<double>(BLOCKS.size() - 1) + 0.5);
        line += *value == 0 ? " " : BLOCKS[std::min(nBlock, BLOCKS.size() - 1)];
    }
    return line;
}

void TopView::Note(const Northbound::PoolReport& report)
{
    m_Report = report;
    for (CORBA::ULong i = 0; i < report.pools.length(); ++i) {
        std::deque<unsigned long long>& waited = m_Waited[report.pools[i].number];
        waited.push_back(report.pools[i].waiting.p99);
        if (waited.size() > HISTORY) waited.pop_front();
    }
}

std::vector<std::string> TopView::Lines(const Northbound::HugeTaskList& tasks, std::size_t nColumns) const
{
    std::vector<const Northbound::Pool*> pools;
    for (CORBA::ULong i = 0; i < m_Report.pools.length(); ++i) pools.push_back(&m_Report.pools[i]);
    std::sort(pools.begin(), pools.end(), HasMoreToDo);
    std::vector<std::string> lines;
    for (const Northbound::Pool* const pPool : pools) AddPool(lines, *pPool, nColumns);
    if (pools.empty()) lines.push_back(Say("no pool has worked yet"));
    if (m_Report.waiting > 0) {
        lines.push_back(Say("{1} threads wait for a task's end, {2} of them for more than a minute",
                            {std::to_string(m_Report.waiting), std::to_string(m_Report.waitingLong)}));
    }
    for (CORBA::ULong i = 0; i < tasks.length(); ++i) lines.push_back(ProgressLine(tasks[i], nColumns));
    return lines;
}

void TopView::AddPool(std::vector<std::string>& lines, const Northbound::Pool& pool,
                      std::size_t nColumns) const
{
    lines.push_back(Say("pool {1}  {2} busy  {3} queued, at most {4}",
                        {std::to_string(pool.number), ProgressBar(pool.busy, pool.workers, BAR_WIDTH),
                         std::to_string(pool.queued), std::to_string(pool.mostQueued)}));
    const std::deque<unsigned long long>& waited = m_Waited.at(pool.number);
    const unsigned long long nHighest = *std::max_element(waited.begin(), waited.end());
    if (nHighest == 0) return;
    const std::string legend =
        "  " + Say("waited {1}, at most {2} ", {DurationText(pool.waiting.p99), DurationText(nHighest)});
    const std::size_t nUsed = ColumnsOf(legend);
    lines.push_back(legend + (nUsed < nColumns ? Sparkline(waited, nColumns - nUsed) : ""));
}

}  // namespace northbound
