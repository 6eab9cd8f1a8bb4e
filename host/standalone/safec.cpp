#include "safec.h"

#include <safe_mem_lib.h>
#include <safe_str_lib.h>

namespace nbihost::safec {

int Copy(void* pDest, std::size_t nDestSize, const void* pSource, std::size_t nCount)
{
    return memcpy_s(pDest, nDestSize, pSource, nCount);
}

int Fill(void* pDest, std::size_t nDestSize, int nValue, std::size_t nCount)
{
    return memset_s(pDest, nDestSize, nValue, nCount);
}

int CopyText(char* pDest, std::size_t nDestSize, const char* pSource, std::size_t nCount)
{
    return strncpy_s(pDest, nDestSize, pSource, nCount);
}

int Format(char* pDest, std::size_t nDestSize, const char* pFormat, std::va_list args)
{
    return vsnprintf_s(pDest, nDestSize, pFormat, args);
}

}  // namespace nbihost::safec
