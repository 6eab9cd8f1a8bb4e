#include "server/figures/figurereader.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <utility>

#include "nbihost/standalone.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "figurereader";
constexpr const char* PORT_MARK = "{port}";

std::string PathFor(std::string path, const std::string& port)
{
    const std::size_t nMark = path.find(PORT_MARK);
    return nMark == std::string::npos ? path : path.replace(nMark, std::strlen(PORT_MARK), port);
}

/// The text of a figure, or why there is none.
struct Cell {
    std::string m_Text;
    std::string m_Reason;
};

/// The first word of a file.
Cell WordOf(const std::string& path)
{
    std::ifstream file(path);
    if (!file) return {"", path + " cannot be read: " + std::strerror(errno)};
    std::string word;
    file >> word;
    return {word, word.empty() ? path + " shows nothing" : ""};
}

Cell CellOf(const TableReading& reading, const std::string& path, const std::string& port,
            std::size_t nColumn)
{
    if (!reading.m_pTable) return {"", path + " cannot be read: " + std::strerror(reading.m_nError)};
    if (!reading.m_pTable->Has(port)) return {"", path + " has no line of it"};
    std::optional<std::string> text = reading.m_pTable->Cell(port, nColumn);
    if (!text) return {"", path + " has no column " + std::to_string(nColumn)};
    return {std::move(*text), ""};
}

}  // namespace

std::vector<Figures> FigureReader::Read(const std::vector<std::string>& ports, Clock::time_point instant)
{
    Tables tables;  // each looked up once, for all ports
    std::vector<Figures> result;
    for (const std::string& port : ports) {
        Figures& figures = result.emplace_back();
        for (const Column& column : m_Catalogue.m_Columns) {
            figures.push_back(Read(column, port, tables, instant));
        }
    }
    return result;
}

/// A table that belongs to one port alone is nobody else's.
TableReading FigureReader::TableOf(const Column& column, const std::string& path, Clock::time_point instant)
{
    return path == column.m_File ? m_Shared.At(path, instant) : ReadKernelTable(path);
}

std::optional<std::uint64_t> FigureReader::Read(const Column& column, const std::string& port, Tables& tables,
                                                Clock::time_point instant)
{
    const std::string path = PathFor(column.m_File, port);
    Cell cell;
    if (column.m_nColumn == 0) {
        cell = WordOf(path);
    } else {
        const auto [table, bNew] = tables.try_emplace(path);
        if (bNew) table->second = TableOf(column, path, instant);
        cell = CellOf(table->second, path, port, column.m_nColumn);
    }
    std::uint64_t nFigure = 0;
    const char* const pEnd = cell.m_Text.data() + cell.m_Text.size();
    const auto [pStop, error] = std::from_chars(cell.m_Text.data(), pEnd, nFigure);
    if (error == std::errc() && pStop == pEnd) return nFigure;
    Report(port, column,
           cell.m_Reason.empty() ? path + ": \"" + cell.m_Text + "\" is no number" : cell.m_Reason);
    return std::nullopt;
}

void FigureReader::Report(const std::string& port, const Column& column, const std::string& reason)
{
    if (!m_Reported.insert(column.m_Name).second) return;
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s has no %s: %s", port.c_str(), column.m_Name.c_str(),
                 reason.c_str());
}

}  // namespace northbound
