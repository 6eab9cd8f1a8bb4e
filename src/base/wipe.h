/// \file
/// Wiping of secrets, in one place. An optimiser drops stores to memory that is about to be freed: gcc does
/// so with a memset before free, clang with a plain loop before delete[]. explicit_bzero is exempt by
/// contract; the fill with a mask character gets the same exemption from the empty asm, which claims to read
/// the bytes.
#pragma once

#include <string.h>

#include <cstddef>
#include <memory>
#include <string>

namespace NS_UTIL {

/// Overwrites \p nCount bytes with zeros.
inline void WipeBytes(void* pBytes, std::size_t nCount)
{
    if (nCount > 0) explicit_bzero(pBytes, nCount);
}

/// Wipes \p nCount bytes at the end of its scope, however that is left.
class WipeAtEnd {
public:
    WipeAtEnd(void* pBytes, std::size_t nCount) : m_pBytes(pBytes), m_nCount(nCount) {}
    ~WipeAtEnd() { WipeBytes(m_pBytes, m_nCount); }
    WipeAtEnd(const WipeAtEnd&) = delete;
    WipeAtEnd& operator=(const WipeAtEnd&) = delete;

private:
    void* m_pBytes;
    std::size_t m_nCount;
};

/// Wipes a new[] array before it deletes it.
struct WipingDelete {
    void operator()(char* pArray) const
    {
        WipeBytes(pArray, m_nSize);
        delete[] pArray;
    }
    std::size_t m_nSize = 0;
};

/// An array that is wiped when it goes, however that is, unless it is released to a caller before.
using WipedArray = std::unique_ptr<char[], WipingDelete>;

/// What stands where a password stood.
constexpr char MASK = '*';

/// Overwrites every character of \p text with MASK; the length stays.
inline void MaskText(std::string& text)
{
    for (char& character : text) character = MASK;
    asm volatile("" : : "r"(text.data()) : "memory");
}

}  // namespace NS_UTIL
