/// \file
/// libsafec under names that are functions. Its own names are macros, which must not meet nbihost/annexk.h.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace nbihost::safec {

int Copy(void* pDest, std::size_t nDestSize, const void* pSource, std::size_t nCount);
int Fill(void* pDest, std::size_t nDestSize, int nValue, std::size_t nCount);
int CopyText(char* pDest, std::size_t nDestSize, const char* pSource, std::size_t nCount);
int Format(char* pDest, std::size_t nDestSize, const char* pFormat, std::va_list args)
    __attribute__((format(printf, 3, 0)));

}  // namespace nbihost::safec
