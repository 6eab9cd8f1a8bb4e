/// \file
/// The one place that throws an exception of the library's own.
#pragma once

#include <string>

#include "log/log.h"
#include "nbiutil/processexception.h"

namespace NS_UTIL {

/// Throws a ProcessException with the mark's file, function and line; its error-info stream stays empty.
/// Inline and without temporaries, here and in its callers: each frame, and each object that is destroyed on
/// the way to the handler, adds to the cost of a failing task.
[[noreturn]] inline void Throw(const SourceMark& mark, unsigned long nCode, const std::string& detail)
{
    throw ProcessException(nCode, detail, mark.m_pModule, mark.m_pFunction, mark.m_nLine);
}

}  // namespace NS_UTIL
