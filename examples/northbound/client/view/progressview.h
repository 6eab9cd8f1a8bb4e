/// \file
/// How far the running collections have come, on a terminal or in a file.
#pragma once

#include <chrono>
#include <string>

#include "northbound.hh"

namespace northbound {

/// "[##########..........] 5/10"
std::string ProgressBar(unsigned int nDone, unsigned int nAll);

/// On a terminal one line per collection, drawn anew each time; elsewhere one line for all, once a second and when
/// none is left.
class ProgressView {
public:
    /// \param bJson the lines are JSON, on a terminal too
    explicit ProgressView(bool bJson);
    void Show(const Northbound::HugeTaskList& tasks);

private:
    void Print(const Northbound::HugeTaskList& tasks);
    void Redraw(const Northbound::HugeTaskList& tasks);
    static void AddLine(const Northbound::HugeTaskList& tasks);

    const bool m_bJson;
    const bool m_bTerminal;
    unsigned int m_nDrawn = 0;  // lines on the terminal
    std::chrono::steady_clock::time_point m_NextLine;
};

}  // namespace northbound
