#include "client/view/table.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <ostream>
#include <utility>

#include "client/view/columns.h"
#include "shared/utf8.h"

namespace northbound {

namespace {

constexpr std::size_t GAP = 2;             // blanks between two columns
constexpr std::size_t ROOM_FOR_TEXT = 16;  // a title with less room than this beside it stands above its text

std::size_t SumOf(const std::vector<std::size_t>& widths)
{
    std::size_t nSum = widths.empty() ? 0 : GAP * (widths.size() - 1);
    for (const std::size_t nWidth : widths) nSum += nWidth;
    return nSum;
}

std::string Blanks(std::size_t nColumns, const std::string& text)
{
    return std::string(nColumns - std::min(nColumns, ColumnsOf(text)), ' ');
}

}  // namespace

Table::Table(std::vector<Column> columns) : m_Columns(std::move(columns))
{
}

void Table::Add(Cells cells)
{
    cells.resize(m_Columns.size());
    for (std::string& cell : cells) cell = Printable(std::move(cell));
    m_Rows.push_back(std::move(cells));
}

void Table::Print(std::ostream& out, const Screen& screen) const
{
    const Widths widths = FittingWidths(screen);
    if (widths.empty()) {
        PrintBlocks(out, screen);
    } else {
        PrintRows(out, screen, widths);
    }
}

Table::Cells Table::Titles() const
{
    Cells titles;
    for (const Column& column : m_Columns) titles.push_back(column.m_Title);
    return titles;
}

Table::Widths Table::NaturalWidths() const
{
    Widths widths;
    for (const std::string& title : Titles()) widths.push_back(ColumnsOf(title));
    for (const Cells& row : m_Rows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], ColumnsOf(row[i]));
    }
    return widths;
}

Table::Widths Table::NarrowestWidths() const
{
    Widths widths = NaturalWidths();
    for (std::size_t i = 0; i < m_Columns.size(); ++i) {
        if (m_Columns[i].m_Align == Align::RIGHT) continue;
        widths[i] = ColumnsOfLongestWord(m_Columns[i].m_Title);
        for (const Cells& row : m_Rows) widths[i] = std::max(widths[i], ColumnsOfLongestWord(row[i]));
    }
    return widths;
}

Table::Widths Table::FittingWidths(const Screen& screen) const
{
    Widths widths = NaturalWidths();
    if (!screen.IsTerminal() || SumOf(widths) <= screen.m_nColumns) return widths;
    const Widths narrowest = NarrowestWidths();
    if (SumOf(narrowest) > screen.m_nColumns) return {};
    while (SumOf(widths) > screen.m_nColumns) {
        std::size_t nWidest = 0;  // of those that may be narrower
        for (std::size_t i = 1; i < widths.size(); ++i) {
            if (widths[i] > narrowest[i] &&
                (widths[nWidest] == narrowest[nWidest] || widths[i] > widths[nWidest])) {
                nWidest = i;
            }
        }
        --widths[nWidest];
    }
    return widths;
}

void Table::PrintRows(std::ostream& out, const Screen& screen, const Widths& widths) const
{
    for (const std::string& line : Lines(Titles(), widths)) out << Bold(line, screen) << '\n';
    for (const Cells& row : m_Rows) {
        for (const std::string& line : Lines(row, widths)) out << line << '\n';
    }
}

std::vector<std::string> Table::Lines(const Cells& row, const Widths& widths) const
{
    std::vector<std::string> lines(1);
    std::size_t nStart = 0;
    for (std::size_t i = 0; i < row.size(); nStart += widths[i++] + GAP) {
        const Cells parts = ColumnsOf(row[i]) <= widths[i] ? Cells{row[i]} : Wrapped(row[i], widths[i]);
        if (parts.size() > lines.size()) lines.resize(parts.size());
        for (std::size_t j = 0; j < parts.size(); ++j) {
            lines[j] += Blanks(nStart, lines[j]);
            if (m_Columns[i].m_Align == Align::RIGHT) lines[j] += Blanks(widths[i], parts[j]);
            lines[j] += parts[j];
        }
    }
    for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
    return lines;
}

void Table::PrintBlocks(std::ostream& out, const Screen& screen) const
{
    for (std::size_t i = 0; i < m_Rows.size(); ++i) {
        if (i > 0) out << '\n';
        PrintBlock(out, screen, m_Rows[i]);
    }
}

void Table::PrintBlock(std::ostream& out, const Screen& screen, const Cells& row) const
{
    std::size_t nText = 0;  // where the texts start
    for (const std::string& title : Titles()) nText = std::max(nText, ColumnsOf(title) + GAP);
    const bool bAbove = nText + ROOM_FOR_TEXT > screen.m_nColumns;
    if (bAbove) nText = GAP;
    const std::size_t nRoom = std::max<std::size_t>(screen.m_nColumns, nText + 2) - nText;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (row[i].empty()) continue;
        std::string begin = Bold(m_Columns[i].m_Title, screen);
        begin += bAbove ? "\n" + std::string(nText, ' ') : Blanks(nText, m_Columns[i].m_Title);
        for (const std::string& line : Wrapped(row[i], nRoom)) {
            out << begin << line << '\n';
            begin = std::string(nText, ' ');
        }
    }
}

void PrintHeading(std::ostream& out, const std::string& text, const Screen& screen)
{
    const std::size_t nRoom = screen.IsTerminal() ? screen.m_nColumns : text.size();
    for (const std::string& line : Wrapped(Printable(text), nRoom)) out << line << '\n';
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
