/// \file
/// How far the running collections have come, on a terminal or in a file.
#pragma once

#include <chrono>
#include <string>

#include "client/view/liveview.h"
#include "northbound.hh"

namespace northbound {

/// "[##########..........] 5/10"
/// \param nWidth of the bar between its brackets
std::string ProgressBar(unsigned int nDone, unsigned int nAll, std::size_t nWidth = 20);

/// "  eth0 for anna  [##########..........] 5/10"; where that is too long the bar is shorter, then there is none, and
/// then the names are cut.
/// \param nColumns that the line may take
std::string ProgressLine(const Northbound::HugeTask& task, std::size_t nColumns);

/// On a terminal one line per collection, drawn anew each time; elsewhere one line for all, once a second and when
/// none is left.
class ProgressView {
public:
    /// \param bJson the lines are JSON, on a terminal too
    explicit ProgressView(bool bJson) : m_bJson(bJson) {}

    void Show(const Northbound::HugeTaskList& tasks);

private:
    void Print(const Northbound::HugeTaskList& tasks);
    void Redraw(const Northbound::HugeTaskList& tasks, const Screen& screen);
    static void AddLine(const Northbound::HugeTaskList& tasks);

    const bool m_bJson;
    LiveView m_Live;
    std::chrono::steady_clock::time_point m_NextLine;
};

}  // namespace northbound
