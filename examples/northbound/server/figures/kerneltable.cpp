#include "server/figures/kerneltable.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>

namespace northbound {
namespace {

using Text = std::string_view;

constexpr const char* BLANKS = " \t";

Text WithoutLeadingBlanks(Text text)
{
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    return text;
}

/// The text up to \p end; both are taken away.
Text TakeUpTo(Text& rest, char end)
{
    const std::size_t nEnd = std::min(rest.find(end), rest.size());
    const Text taken = rest.substr(0, nEnd);
    rest.remove_prefix(std::min(nEnd + 1, rest.size()));
    return taken;
}

}  // namespace

KernelTable::KernelTable(std::string text) : m_Text(std::move(text))
{
    for (Text rest = m_Text; !rest.empty();) {
        const Text line = WithoutLeadingBlanks(TakeUpTo(rest, '\n'));
        const std::size_t nColon = line.rfind(':');
        if (nColon == Text::npos || nColon == 0) continue;
        m_Rows.emplace_back(line.substr(0, nColon), line.substr(nColon + 1));
    }
    const auto byName = [](const Row& a, const Row& b) { return a.first < b.first; };
    const auto sameName = [](const Row& a, const Row& b) { return a.first == b.first; };
    std::stable_sort(m_Rows.begin(), m_Rows.end(), byName);
    m_Rows.erase(std::unique(m_Rows.begin(), m_Rows.end(), sameName), m_Rows.end());
}

const KernelTable::Row* KernelTable::Find(const std::string& name) const
{
    const auto found = std::lower_bound(m_Rows.begin(), m_Rows.end(), name,
                                        [](const Row& row, Text wanted) { return row.first < wanted; });
    return found == m_Rows.end() || found->first != name ? nullptr : &*found;
}

std::vector<std::string> KernelTable::Names(const std::string& after, std::size_t nMost) const
{
    auto row = std::upper_bound(m_Rows.begin(), m_Rows.end(), after,
                                [](Text wanted, const Row& each) { return wanted < each.first; });
    std::vector<std::string> names;
    for (; row != m_Rows.end() && names.size() < nMost; ++row) names.emplace_back(row->first);
    return names;
}

std::optional<std::string> KernelTable::Cell(const std::string& name, std::size_t nColumn) const
{
    const Row* const pRow = Find(name);
    if (pRow == nullptr) return std::nullopt;
    Text rest = WithoutLeadingBlanks(pRow->second);
    for (; nColumn > 1; --nColumn) {
        rest.remove_prefix(std::min(rest.find_first_of(BLANKS), rest.size()));
        rest = WithoutLeadingBlanks(rest);
    }
    if (rest.empty()) return std::nullopt;
    return std::string(rest.substr(0, rest.find_first_of(BLANKS)));
}

TableReading ReadKernelTable(const std::string& path)
{
    std::ifstream file(path);
    if (!file) return {nullptr, errno};
    std::ostringstream text;
    text << file.rdbuf();
    return {std::make_shared<const KernelTable>(text.str()), 0};
}

}  // namespace northbound
