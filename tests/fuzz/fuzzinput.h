/// \file
/// A fuzzer's input taken apart from the front, for targets that are more than one text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace nbitest {

/// Behind the end come zeros and empty texts.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* pData, std::size_t nSize) : m_pNext(pData), m_nLeft(nSize) {}

    bool IsEmpty() const { return m_nLeft == 0; }
    unsigned int Byte()
    {
        if (m_nLeft == 0) return 0;
        --m_nLeft;
        return *m_pNext++;
    }
    /// Big-endian.
    unsigned int Word() { return Byte() * 256 + Byte(); }
    unsigned int Number() { return Word() * 65536 + Word(); }
    /// Its length, one byte, stands in front.
    std::string Text() { return Take(Byte()); }
    /// The same in two bytes.
    std::string LongText() { return Take(Word()); }

private:
    std::string Take(std::size_t nBytes)
    {
        if (nBytes > m_nLeft) nBytes = m_nLeft;
        std::string text(reinterpret_cast<const char*>(m_pNext), nBytes);
        m_pNext += nBytes;
        m_nLeft -= nBytes;
        return text;
    }

    const std::uint8_t* m_pNext;
    std::size_t m_nLeft;
};

}  // namespace nbitest
