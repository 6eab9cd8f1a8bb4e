/// \file
/// What the description files say about the figures of a port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace northbound {

/// One figure that each port has, as its line in a description file tells.
struct Column {
    std::string m_Table;
    std::string m_Name;       // letters, digits and "_", not used twice: the name in CSV and JSON
    std::string m_Title;      // for people
    std::string m_Unit;       // "bytes", "packets", ...
    bool m_bCounter = false;  // only grows; otherwise a gauge
    std::string m_Direction;  // "received", "sent" or empty
    bool m_bBrief = false;    // stands in the list of ports
    std::string m_File;       // where it is read; "{port}" stands for the port's name
    std::size_t m_nColumn =
        0;  // in the port's line of that file, from 1; 0: the file holds this number alone
};

/// One figure per column of the catalogue; none where it could not be read.
using Figures = std::vector<std::optional<std::uint64_t>>;

/// The columns in the order of their descriptions, and what is wrong with the description files: one line
/// each, which begins with the file's path.
struct Catalogue {
    std::vector<Column> m_Columns;
    std::vector<std::string> m_Problems;
};

/// Reads a description file and those that it includes. What is wrong is left out and reported, the rest is
/// in the catalogue: a single figure, a table, or everything if it is \p mainFile that does not parse.
///
/// To be called before the process has other threads: it changes the working directory and standard output
/// for as long as it runs. What the parser prints is on standard output afterwards. Uses, and destroys, the
/// process's SDXMLInterpreterMgr.
/// \param mainFile an absolute path; the relative paths of its includes start at its folder
Catalogue LoadCatalogue(const std::string& mainFile);

/// \p last minus \p first for the counters, modulo 2^64, so that a counter that ran over counts on. Gauges,
/// and what is not known on both sides, have none.
Figures Increase(const Catalogue& catalogue, const Figures& first, const Figures& last);

}  // namespace northbound
