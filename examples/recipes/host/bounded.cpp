// The bounds-checked functions. In a file of their own: libraries that have them define some of the names as macros.
#include <nbihost/annexk.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

int memset_s(void* pDest, std::size_t nSize, int nValue, std::size_t nCount)
{
    if (pDest == nullptr) return 1;
    std::memset(pDest, nValue, nCount < nSize ? nCount : nSize);
    return nCount <= nSize ? 0 : 1;
}

int memcpy_s(void* pDest, std::size_t nSize, const void* pSource, std::size_t nCount)
{
    if (pDest == nullptr || pSource == nullptr || nCount > nSize) {
        memset_s(pDest, nSize, 0, nSize);
        return 1;
    }
    std::memmove(pDest, pSource, nCount);
    return 0;
}

int strncpy_s(char* pDest, std::size_t nSize, const char* pSource, std::size_t nCount)
{
    const std::size_t nLength = pSource != nullptr ? strnlen(pSource, nCount) : 0;
    if (pDest == nullptr || pSource == nullptr || nLength >= nSize) {
        memset_s(pDest, nSize, 0, nSize);
        return 1;
    }
    std::memcpy(pDest, pSource, nLength);
    pDest[nLength] = '\0';
    return 0;
}

int snprintf_s(char* pDest, std::size_t nSize, const char* pFormat, ...)
{
    va_list args;
    va_start(args, pFormat);
    const int nLength = std::vsnprintf(pDest, nSize, pFormat, args);
    va_end(args);
    if (nLength >= 0 && static_cast<std::size_t>(nLength) < nSize) return nLength;
    memset_s(pDest, nSize, 0, nSize);
    return -1;
}
