#include "server/operations/perffile.h"

#include <cerrno>
#include <cstring>

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

}  // namespace northbound
