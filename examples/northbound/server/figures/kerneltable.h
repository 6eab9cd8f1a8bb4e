/// \file
/// The kernel's tables with one row per port, such as /proc/net/dev.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace northbound {

/// The rows of one of the kernel's tables, "name: figure figure ...", by name. Holds the text and looks cells up in
/// it, so that 10,000 rows cost milliseconds. Threads: any.
class KernelTable {
public:
    /// Lines without a name, like those of the heading, are left out; of rows with one name the first counts.
    explicit KernelTable(std::string text);
    KernelTable(const KernelTable&) = delete;
    KernelTable& operator=(const KernelTable&) = delete;

    bool Has(const std::string& name) const { return Find(name) != nullptr; }

    /// At most \p nMost names behind \p after, in their order.
    std::vector<std::string> Names(const std::string& after, std::size_t nMost) const;

    /// \param nColumn from 1
    /// \return none when the row has fewer, or there is no such row
    std::optional<std::string> Cell(const std::string& name, std::size_t nColumn) const;

private:
    using Row = std::pair<std::string_view, std::string_view>;  // name and cells, both in m_Text
    const Row* Find(const std::string& name) const;

    const std::string m_Text;
    std::vector<Row> m_Rows;  // by name
};

/// What came of reading a table.
struct TableReading {
    std::shared_ptr<const KernelTable> m_pTable;  // null: it cannot be read
    int m_nError = 0;                             // the system's reason then
};

TableReading ReadKernelTable(const std::string& path);

}  // namespace northbound
