/// \file
/// The bounds-checked functions of C11 Annex K, as the host provides them: 0 on success (snprintf_s: the
/// number of characters, or a negative value), and on failure the destination is cleared as far as it is
/// known.
///
/// Include this in .cpp files alone: libraries of these functions define some of the names as macros.
#pragma once

#include <cstddef>

#include "nbihost/api.h"

extern "C" {

NBIHOST_API int memcpy_s(void* pDest, std::size_t nDestSize, const void* pSource, std::size_t nCount);
NBIHOST_API int memset_s(void* pDest, std::size_t nDestSize, int nValue, std::size_t nCount);
NBIHOST_API int strncpy_s(char* pDest, std::size_t nDestSize, const char* pSource, std::size_t nCount);
NBIHOST_API int snprintf_s(char* pDest, std::size_t nDestSize, const char* pFormat, ...)
    __attribute__((format(printf, 3, 4)));

}  // extern "C"
