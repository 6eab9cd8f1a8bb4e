#include "server/figures/kerneltables.h"

#include <utility>

namespace northbound {

KernelTables::KernelTables(Reader read) : m_Read(std::move(read))
{
}

KernelTables::Slot& KernelTables::SlotOf(const std::string& path)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Slots[path];
}

TableReading KernelTables::At(const std::string& path, Clock::time_point instant)
{
    Slot& slot = SlotOf(path);
    std::lock_guard<std::mutex> guard(slot.m_Mutex);
    if (slot.m_Begun < instant) {
        const Clock::time_point begun = Clock::now();
        slot.m_Reading = m_Read(path);
        slot.m_Begun = begun;
    }
    return slot.m_Reading;
}

}  // namespace northbound
