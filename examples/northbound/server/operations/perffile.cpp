#include "server/operations/perffile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "server/serving/failure.h"
#include "server/serving/safename.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "perffile";

std::string Heading(const Catalogue& catalogue)
{
    std::string line = "time";
    for (const Column& column : catalogue.m_Columns) line += "," + column.m_Name;
    return line + "\n";
}

/// The cells behind the time.
std::vector<std::string> CellsOf(const std::string& line)
{
    std::istringstream cells(line.substr(std::min(line.size(), line.find(','))));
    std::vector<std::string> texts;
    cells.ignore();
    for (std::string cell; std::getline(cells, cell, ',');) texts.push_back(cell);
    return texts;
}

std::optional<std::uint64_t> FigureOf(const std::string& cell)
{
    std::uint64_t nValue = 0;
    const auto [pEnd, error] = std::from_chars(cell.data(), cell.data() + cell.size(), nValue);
    const bool bWhole = error == std::errc() && pEnd == cell.data() + cell.size();
    return bWhole ? std::optional(nValue) : std::nullopt;
}

/// What a line of a file may have; more are none of ours.
constexpr std::size_t MAX_LINE = 1 << 20;

bool ReadLine(std::ifstream& file, std::string& line)
{
    line.resize(MAX_LINE);
    file.getline(&line[0], static_cast<std::streamsize>(line.size()));
    line.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 1) - 1));
    return file.good();
}

}  // namespace

PerfFile::PerfFile(const std::string& directory, const std::string& port, const std::string& operation,
                   const Catalogue& catalogue)
    : m_FinalPath(directory + "/" + PerfFileName(SafeName(port), operation)),
      m_Path(m_FinalPath + UNFINISHED),
      m_pFile(std::fopen(m_Path.c_str(), "wxe"))
{
    if (m_pFile == nullptr) FailToWrite();
    Check(std::fputs(Heading(catalogue).c_str(), m_pFile.get()) >= 0);
}

void PerfFile::Add(const std::string& time, const Figures& figures)
{
    std::string line = time;
    for (const std::optional<std::uint64_t>& figure : figures) {
        line += ',';
        if (figure) line += std::to_string(*figure);
    }
    line += '\n';
    Check(std::fputs(line.c_str(), m_pFile.get()) >= 0);
}

std::string PerfFile::Finish()
{
    if (std::fclose(m_pFile.release()) != 0) FailToWrite();
    if (std::rename(m_Path.c_str(), m_FinalPath.c_str()) != 0) FailToWrite();
    m_Path = m_FinalPath;
    return m_FinalPath;
}

void PerfFile::Check(bool bWritten) const
{
    if (!bWritten || std::fflush(m_pFile.get()) != 0) FailToWrite();
}

void PerfFile::FailToWrite() const
{
    ThrowFailure(ErrCode::FILE_NOT_WRITTEN, MODULE, m_Path + " cannot be written: " + std::strerror(errno));
}

Figures FirstFigures(const std::string& path, const Catalogue& catalogue)
{
    Figures figures(catalogue.m_Columns.size());
    std::ifstream file(path);
    std::string heading;
    std::string sample;
    if (!ReadLine(file, heading) || !ReadLine(file, sample)) return figures;
    const std::vector<std::string> names = CellsOf(heading);
    const std::vector<std::string> cells = CellsOf(sample);
    for (std::size_t i = 0; i < figures.size(); ++i) {
        const auto found = std::find(names.begin(), names.end(), catalogue.m_Columns[i].m_Name);
        const auto nPlace = static_cast<std::size_t>(found - names.begin());
        if (nPlace < cells.size()) figures[i] = FigureOf(cells[nPlace]);
    }
    return figures;
}

}  // namespace northbound
