/// \file
/// What the description files say about the figures of a port.
#pragma once

#include <string>
#include <vector>

#include "server/figures/column.h"

namespace northbound {

/// The columns in the order of their descriptions, and what is wrong with the description files: one line
/// each, which begins with the file's path.
struct Catalogue {
    std::vector<Column> m_Columns;
    std::vector<std::string> m_Problems;
};

/// Reads a description file and those that it includes. What is wrong is left out and reported, the rest is
/// in the catalogue: a single figure, a table, or everything if it is \p mainFile that does not parse.
///
/// To be called before the process has other threads: it changes the working directory for as long as it runs.
/// The parser prints to standard output. Uses, and destroys, the process's SDXMLInterpreterMgr.
/// \param mainFile an absolute path; the relative paths of its includes start at its folder
Catalogue LoadCatalogue(const std::string& mainFile);

/// \p last minus \p first for the counters, modulo 2^64, so that a counter that ran over counts on. Gauges,
/// and what is not known on both sides, have none.
Figures Increase(const Catalogue& catalogue, const Figures& first, const Figures& last);

/// \p figures, one per column, with their names and units. Those beyond the columns, which another server may have read,
/// have no name and are left out.
NamedFigures Named(const Catalogue& catalogue, const Figures& figures);

}  // namespace northbound
