/// \file
/// How a request of the example fails.
#pragma once

#include <string>

namespace northbound {

/// Raises a ProcessException whose code and detail reach the client.
/// \param pModule names the part of the program, as it does in the log.
[[noreturn]] void Fail(unsigned int nCode, const char* pModule, const std::string& detail,
                       int nLine = __builtin_LINE());

}  // namespace northbound
