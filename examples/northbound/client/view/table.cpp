#include "client/view/table.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <ostream>
#include <utility>

#include "shared/utf8.h"

namespace northbound {

Table::Table(std::vector<Column> columns) : m_Columns(std::move(columns))
{
    for (const Column& column : m_Columns) m_Widths.push_back(column.m_Title.size());
}

void Table::Add(std::vector<std::string> cells)
{
    cells.resize(m_Columns.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        cells[i] = Printable(std::move(cells[i]));
        m_Widths[i] = std::max(m_Widths[i], cells[i].size());
    }
    m_Rows.push_back(std::move(cells));
}

void Table::Print(std::ostream& out) const
{
    std::vector<std::string> titles;
    for (const Column& column : m_Columns) titles.push_back(column.m_Title);
    PrintRow(out, titles);
    for (const std::vector<std::string>& row : m_Rows) PrintRow(out, row);
}

void Table::PrintRow(std::ostream& out, const std::vector<std::string>& cells) const
{
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string blanks(m_Widths[i] - cells[i].size(), ' ');
        if (i > 0) line += "  ";
        line += m_Columns[i].m_Align == Align::LEFT ? cells[i] + blanks : blanks + cells[i];
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}

std::string Printable(std::string text)
{
    text = WellFormed(text);
    for (char& c : text) {
        const auto nByte = static_cast<unsigned char>(c);
        if (nByte < 0x20 || nByte == 0x7F) c = '?';
    }
    return text;
}

std::string UpperCase(std::string text)
{
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

std::string BytesText(unsigned long long nBytes)
{
    if (nBytes < 1024) return std::to_string(nBytes) + " B";
    const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double size = static_cast<double>(nBytes) / 1024;
    std::size_t nUnit = 0;
    while (size >= 1024 && nUnit + 1 < std::size(units)) {
        size /= 1024;
        ++nUnit;
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f %s", size, units[nUnit]);
    return text;
}

}  // namespace northbound
