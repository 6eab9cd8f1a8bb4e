/// \file
/// The one place that builds an exception of the library's own.
#pragma once

#include <string>

#include "log/log.h"

namespace NS_UTIL {

/// Raises a ProcessException with the mark's file, function and line and the message
/// "ErrCode:<nCode>,Detail:<detail>". The exception carries the low 32 bits of \p nCode, its message all of
/// them; its error-info stream stays empty.
[[noreturn]] void Raise(const SourceMark& mark, unsigned long nCode, const std::string& detail);

}  // namespace NS_UTIL
