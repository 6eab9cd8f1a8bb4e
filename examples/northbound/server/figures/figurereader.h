/// \file
/// The figures that the catalogue describes, as the system's files show them.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "server/figures/catalogue.h"
#include "server/figures/kerneltables.h"

namespace northbound {

/// Reads the figures of ports for one request. A figure that cannot be read is missing, which costs one line
/// in the log, however often and for however many ports the request reads it. Threads: one at a time.
class FigureReader {
public:
    using Clock = KernelTables::Clock;

    /// Both have to live as long as the reader.
    FigureReader(const Catalogue& catalogue, KernelTables& tables) : m_Catalogue(catalogue), m_Shared(tables)
    {
    }

    /// For each port its figures as they are at \p instant or later, in the catalogue's order.
    std::vector<Figures> Read(const std::vector<std::string>& ports,
                              Clock::time_point instant = Clock::now());
    Figures Read(const std::string& port, Clock::time_point instant = Clock::now())
    {
        return Read(std::vector<std::string>{port}, instant).front();
    }

private:
    using Tables = std::map<std::string, TableReading>;
    std::optional<std::uint64_t> Read(const Column& column, const std::string& port, Tables& tables,
                                      Clock::time_point instant);
    TableReading TableOf(const Column& column, const std::string& path, Clock::time_point instant);
    void Report(const std::string& port, const Column& column, const std::string& reason);

    const Catalogue& m_Catalogue;
    KernelTables& m_Shared;
    std::set<std::string> m_Reported;  // names of columns
};

}  // namespace northbound
