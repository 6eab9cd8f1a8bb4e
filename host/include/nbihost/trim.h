/// \file
/// The host's trims. They remove at least blank, tab, carriage return and line feed; no host removes letters,
/// digits or "-".
#pragma once

#include <string>

#include "nbihost/api.h"

namespace NS_BUNDLEMGR1 {

NBIHOST_API std::string Trim(const std::string& text);
NBIHOST_API std::string LTrim(const std::string& text);
NBIHOST_API std::string RTrim(const std::string& text);

}  // namespace NS_BUNDLEMGR1
