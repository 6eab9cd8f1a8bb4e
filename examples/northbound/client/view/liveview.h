/// \file
/// Lines on a terminal that are drawn anew again and again.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "client/view/screen.h"

namespace northbound {

/// Lines are cut to the terminal's width. Those that do not fit its height are left out, and the last line tells how
/// many there are, so that nothing scrolls.
class LiveView {
public:
    /// \param lines without control characters
    /// \param screen the terminal at this moment
    /// \return what takes the place of the lines drawn before
    std::string Draw(const std::vector<std::string>& lines, const Screen& screen);

private:
    /// Rows that the lines drawn before take now: a terminal that has become narrower has wrapped them.
    std::size_t RowsDrawn(const Screen& screen) const;

    std::vector<std::string> m_Drawn;
};

}  // namespace northbound
