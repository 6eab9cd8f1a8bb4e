/// \file
/// Codes and their reasons, from the catalogue of this process.
#pragma once

#include <optional>
#include <string>

namespace northbound {

/// "" when the catalogue has none.
std::string ReasonOf(unsigned int nCode);

/// The code that \p text spells, decimal or hexadecimal after "0x"; none for any other text.
std::optional<unsigned int> ParseCode(const std::string& text);

/// As everything that prints codes writes them: "0x4118000A".
std::string CodeText(unsigned int nCode);

}  // namespace northbound
