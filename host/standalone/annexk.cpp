#include "nbihost/annexk.h"

#include <cstdarg>

#include "safec.h"

namespace safec = nbihost::safec;

int memcpy_s(void* pDest, std::size_t nDestSize, const void* pSource, std::size_t nCount)
{
    return safec::Copy(pDest, nDestSize, pSource, nCount);
}

int memset_s(void* pDest, std::size_t nDestSize, int nValue, std::size_t nCount)
{
    return safec::Fill(pDest, nDestSize, nValue, nCount);
}

int strncpy_s(char* pDest, std::size_t nDestSize, const char* pSource, std::size_t nCount)
{
    return safec::CopyText(pDest, nDestSize, pSource, nCount);
}

int snprintf_s(char* pDest, std::size_t nDestSize, const char* pFormat, ...)
{
    std::va_list args;
    va_start(args, pFormat);
    const int nResult = safec::Format(pDest, nDestSize, pFormat, args);
    va_end(args);
    return nResult;
}
