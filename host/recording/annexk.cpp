// The bounds-checked functions of the recording host: the standalone host's, with faults in front.
#include <cstdarg>
#include <cstddef>

#include "../standalone/safec.h"
#include "annexkfaults.h"
#include "nbihost/annexk.h"

namespace nbitest::annexk {

Faults g_Faults;

namespace {

constexpr int FAILED = 1;

bool TakeFault(std::atomic<int>& nLeft)
{
    int nNow = nLeft.load();
    while (nNow > 0) {
        if (nLeft.compare_exchange_weak(nNow, nNow - 1)) return true;
    }
    return false;
}

}  // namespace
}  // namespace nbitest::annexk

using namespace nbitest::annexk;  // NOLINT: the names below are the host's, outside every namespace
namespace safec = nbihost::safec;

int memcpy_s(void* pDest, std::size_t nDestSize, const void* pSource, std::size_t nCount)
{
    return TakeFault(g_Faults.m_nMemcpy) ? FAILED : safec::Copy(pDest, nDestSize, pSource, nCount);
}

int memset_s(void* pDest, std::size_t nDestSize, int nValue, std::size_t nCount)
{
    return TakeFault(g_Faults.m_nMemset) ? FAILED : safec::Fill(pDest, nDestSize, nValue, nCount);
}

int strncpy_s(char* pDest, std::size_t nDestSize, const char* pSource, std::size_t nCount)
{
    return TakeFault(g_Faults.m_nStrncpy) ? FAILED : safec::CopyText(pDest, nDestSize, pSource, nCount);
}

int snprintf_s(char* pDest, std::size_t nDestSize, const char* pFormat, ...)
{
    if (TakeFault(g_Faults.m_nSnprintf)) return -FAILED;
    std::va_list args;
    va_start(args, pFormat);
    const int nResult = safec::Format(pDest, nDestSize, pFormat, args);
    va_end(args);
    return nResult;
}
