/// \file
/// Tables on a terminal.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "client/view/screen.h"

namespace northbound {

/// Columns as wide as their widest cell, two blanks apart. Where that is too wide for the screen, texts are wrapped at
/// blanks in columns that are aligned to the left; where that does not do either, each row is a block with a line per
/// cell. Control characters in a cell, which could drive the terminal, are shown as "?".
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

    /// \param screen what \p out is
    void Print(std::ostream& out, const Screen& screen = OutputScreen()) const;

private:
    using Cells = std::vector<std::string>;
    using Widths = std::vector<std::size_t>;

    Cells Titles() const;
    Widths NaturalWidths() const;
    /// With every text wrapped that may be.
    Widths NarrowestWidths() const;
    /// Narrow enough for the screen; empty when no widths are.
    Widths FittingWidths(const Screen& screen) const;

    void PrintRows(std::ostream& out, const Screen& screen, const Widths& widths) const;
    std::vector<std::string> Lines(const Cells& row, const Widths& widths) const;
    void PrintBlocks(std::ostream& out, const Screen& screen) const;
    void PrintBlock(std::ostream& out, const Screen& screen, const Cells& row) const;

    std::vector<Column> m_Columns;
    std::vector<Cells> m_Rows;
};

/// A line above a table; more than one where the screen is too narrow.
void PrintHeading(std::ostream& out, const std::string& text, const Screen& screen = OutputScreen());

/// \p text with "?" for each control character, and "\xNN" for each byte that is no UTF-8.
std::string Printable(std::string text);

/// ASCII letters as capitals, everything else as it is.
std::string UpperCase(std::string text);

/// "512 B", "1.5 KiB", "43.6 MiB", ...
std::string BytesText(unsigned long long nBytes);

}  // namespace northbound
