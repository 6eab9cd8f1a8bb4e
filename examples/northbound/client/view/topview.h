/// \file
/// One screen of what a server does, for people who watch it.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "northbound.hh"

namespace northbound {

/// The last of \p values that fit, oldest first, one block character each; the highest of them is a full block, and 0
/// is a blank.
std::string Sparkline(const std::deque<unsigned long long>& values, std::size_t nColumns);

/// Pools, those with the most to do first, each with a bar of its busy workers and a line of how long tasks waited; and
/// the running collections.
class TopView {
public:
    static constexpr std::size_t HISTORY = 300;  // reports: five minutes of one each second

    void Note(const Northbound::PoolReport& report);

    /// The screen of the last report.
    /// \param nColumns that a line may take
    std::vector<std::string> Lines(const Northbound::HugeTaskList& tasks, std::size_t nColumns) const;

private:
    void AddPool(std::vector<std::string>& lines, const Northbound::Pool& pool, std::size_t nColumns) const;

    Northbound::PoolReport m_Report{};
    std::map<CORBA::ULong, std::deque<unsigned long long>> m_Waited;  // by pool: of the slowest hundredth
};

}  // namespace northbound
