/// \file
/// Texts from elsewhere that may not be what they should.
#pragma once

#include <string>

namespace northbound {

/// \p text with "\xNN" for each byte that is no part of well-formed UTF-8, so that logs, tables and JSON are.
std::string WellFormed(const std::string& text);

}  // namespace northbound
