/// \file
/// Names that come from outside, in places where some characters mean something.
#pragma once

#include <string>

namespace northbound {

/// \p name fit for distinguished names, file names, tables and command lines: letters, digits, ".", "_" and "-" as they
/// are, every other byte as "%" and two hexadecimal digits. Different names stay different.
std::string SafeName(const std::string& name);

/// The name that SafeName() made \p safe of; "" when it made it of none.
std::string PlainName(const std::string& safe);

}  // namespace northbound
