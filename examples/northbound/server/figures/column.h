/// \file
/// One figure that each port has: what it is, and its value at a port.
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
    // In the port's line of that file, from 1; 0: the file holds this number alone.
    std::size_t m_nColumn = 0;
};

/// One figure per column of the catalogue; none where it could not be read.
using Figures = std::vector<std::optional<std::uint64_t>>;

/// A figure that says what it is.
struct NamedFigure {
    std::string m_Name;
    std::string m_Unit;
    std::optional<std::uint64_t> m_Value;
};
using NamedFigures = std::vector<NamedFigure>;

}  // namespace northbound
