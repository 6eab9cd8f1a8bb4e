/// \file
/// The file that a performance collection writes.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "server/figures/catalogue.h"

namespace northbound {

/// What a file is called once it is whole.
/// \param safePort as SafeName() has it
inline std::string PerfFileName(const std::string& safePort, const std::string& operation)
{
    return "perf-" + safePort + "-" + operation + ".csv";
}

/// What stands behind that name until then.
constexpr const char* UNFINISHED = ".part";

/// A CSV file with one line per sample: time and figures, an empty cell for a figure that is missing. It is
/// called "perf-<port>-<operation>.csv.part", the port as SafeName() has it, until Finish(), so that nobody takes half a collection for a
/// whole one; without Finish() it stays so. Threads: one at a time.
class PerfFile {
public:
    /// Writes the line of column names. \p operation is an operation UUID without tags.
    /// \throws ProcessException FILE_NOT_WRITTEN, like the other operations.
    PerfFile(const std::string& directory, const std::string& port, const std::string& operation,
             const Catalogue& catalogue);

    /// The line is in the file when this returns.
    void Add(const std::string& time, const Figures& figures);

    /// Closes the file and gives it its final name, which is returned.
    std::string Finish();

    /// Where the file is now.
    const std::string& Path() const { return m_Path; }

private:
    [[noreturn]] void FailToWrite() const;
    void Check(bool bWritten) const;

    struct Closer {
        void operator()(std::FILE* pFile) const { std::fclose(pFile); }
    };
    std::string m_FinalPath;
    std::string m_Path;
    std::unique_ptr<std::FILE, Closer> m_pFile;
};

/// The figures of the first sample in the file at \p path; those of its names that the catalogue has.
/// \return one for each of the catalogue's figures; all unknown where the file cannot be read
Figures FirstFigures(const std::string& path, const Catalogue& catalogue);

}  // namespace northbound
