/// \file
/// Tables on a terminal.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace northbound {

/// Columns as wide as their widest cell, two blanks apart. Control characters in a cell, which could drive
/// the terminal, are shown as "?".
class Table {
public:
    enum class Align { LEFT, RIGHT };
    struct Column {
        std::string m_Title;
        Align m_Align = Align::LEFT;
    };

    explicit Table(std::vector<Column> columns);

    /// \param cells one for each column
    void Add(std::vector<std::string> cells);

    void Print(std::ostream& out) const;

private:
    void PrintRow(std::ostream& out, const std::vector<std::string>& cells) const;

    std::vector<Column> m_Columns;
    std::vector<std::size_t> m_Widths;
    std::vector<std::vector<std::string>> m_Rows;
};

/// \p text with "?" for each control character, and "\xNN" for each byte that is no UTF-8.
std::string Printable(std::string text);

/// ASCII letters as capitals, everything else as it is.
std::string UpperCase(std::string text);

/// "512 B", "1.5 KiB", "43.6 MiB", ...
std::string BytesText(unsigned long long nBytes);

}  // namespace northbound
