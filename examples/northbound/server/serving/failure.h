/// \file
/// How a request fails, inside the server and in front of it.
#pragma once

#include <string>
#include <variant>

namespace northbound {

/// Why a request was not carried out, as front ends tell it.
struct Failure {
    unsigned int m_nCode = 0;  // shared/names.h or nbiutil/errcode.h
    std::string m_Detail;      // for people
};

/// What comes of a request.
template <class Result>
using Outcome = std::variant<Result, Failure>;

/// Raises a ProcessException whose code and detail become the request's Failure; bytes of the detail that are no UTF-8
/// are escaped.
/// \param pModule names the part of the program, as it does in the log.
[[noreturn]] void ThrowFailure(unsigned int nCode, const char* pModule, const std::string& detail,
                               int nLine = __builtin_LINE());

}  // namespace northbound
