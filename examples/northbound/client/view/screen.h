/// \file
/// What texts are printed on.
#pragma once

#include <cstddef>
#include <string>

namespace northbound {

/// A terminal of this size, or with 0 columns something that is none, such as a file or a pipe.
struct Screen {
    std::size_t m_nColumns = 0;
    std::size_t m_nRows = 0;
    bool m_bStyled = false;  // bold type and colours are welcome

    bool IsTerminal() const { return m_nColumns > 0; }
};

/// What standard output and standard error are at this moment: a terminal may change its size at any time. One that
/// does not tell its size has 80 columns and 24 rows, one without any abilities ("TERM=dumb") counts as none.
/// Environment: NO_COLOR, unless it is empty, turns bold type and colours off.
Screen OutputScreen();
Screen ErrorScreen();

std::string Bold(const std::string& text, const Screen& screen);
std::string Red(const std::string& text, const Screen& screen);

}  // namespace northbound
