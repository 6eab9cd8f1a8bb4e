/// \file
/// The figures that the catalogue describes, as the system's files show them.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "server/figures/catalogue.h"
#include "server/figures/kerneltable.h"

namespace northbound {

/// Reads the figures of ports for one request. A figure that cannot be read is missing, which costs one line
/// in the log, however often the request reads it. Threads: one at a time.
class FigureReader {
public:
    /// \param catalogue has to live as long as the reader
    explicit FigureReader(const Catalogue& catalogue) : m_Catalogue(catalogue) {}

    /// For each port its figures, in the catalogue's order.
    std::vector<Figures> Read(const std::vector<std::string>& ports);
    Figures Read(const std::string& port) { return Read(std::vector<std::string>{port}).front(); }

private:
    using Tables = std::map<std::string, std::optional<KernelTable>>;
    std::optional<std::uint64_t> Read(const Column& column, const std::string& port, Tables& tables);
    void Report(const std::string& port, const Column& column, const std::string& reason);

    const Catalogue& m_Catalogue;
    std::set<std::string> m_Reported;
};

}  // namespace northbound
