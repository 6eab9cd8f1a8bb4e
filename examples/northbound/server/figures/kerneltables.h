/// \file
/// The kernel's tables as all requests share them.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "server/figures/kerneltable.h"

namespace northbound {

/// One reading of a table serves all who want it for the same instant: collections of many ports, and whoever comes while
/// another is reading. Keeps the last reading of each path, so it is for paths of which there are few. Threads: any.
class KernelTables {
public:
    using Clock = std::chrono::steady_clock;
    using Reader = std::function<TableReading(const std::string& path)>;

    explicit KernelTables(Reader read = ReadKernelTable);

    /// The table as it was at \p instant or later: the last reading, if it began then, else a new one. At most one is
    /// under way; who waits for it meanwhile shares the next.
    TableReading At(const std::string& path, Clock::time_point instant);

private:
    struct Slot {
        std::mutex m_Mutex;  // held while the file is read
        Clock::time_point m_Begun = Clock::time_point::min();
        TableReading m_Reading;
    };
    Slot& SlotOf(const std::string& path);

    const Reader m_Read;
    std::mutex m_Mutex;
    std::map<std::string, Slot> m_Slots;  // none ever goes; guarded by m_Mutex
};

}  // namespace northbound
