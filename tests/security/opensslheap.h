/// \file
/// OpenSSL on the heap that heapwatch.h looks into. Include this in one source of a test program that links
/// nbi_heapwatch: OpenSSL takes its allocator before its first allocation, or not at all.
#pragma once

#include <malloc.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

namespace nbitest {

inline void* OpenSslAllocate(std::size_t nSize, const char*, int)
{
    return operator new(nSize, std::nothrow);
}

inline void OpenSslFree(void* pBlock, const char*, int)
{
    operator delete(pBlock);
}

inline void* OpenSslReallocate(void* pOld, std::size_t nSize, const char* pFile, int nLine)
{
    void* const pNew = OpenSslAllocate(nSize, pFile, nLine);
    if (pOld == nullptr || pNew == nullptr) return pNew;
    std::memcpy(pNew, pOld, std::min(nSize, malloc_usable_size(pOld)));
    OpenSslFree(pOld, pFile, nLine);
    return pNew;
}

inline const bool g_bOpenSslOnTheWatchedHeap =
    CRYPTO_set_mem_functions(&OpenSslAllocate, &OpenSslReallocate, &OpenSslFree) == 1;

}  // namespace nbitest
