/// \file
/// Scratch bytes of the RSA code, with hexadecimal conversion in both directions. Internal.
#pragma once

#include <memory>

namespace NS_UTIL {

/// An owned byte array. Every array it makes itself has a zero byte behind the payload.
/// Deliberate: not wiped on release. It holds cipher text alone, and the RSA operations release it on every
/// call.
/// Errors: a failing bounds-checked function costs a log line under "nbirsa" and is not reported otherwise.
/// Threads: none; an object belongs to one thread at a time.
class AutoReleaseStrEx {
public:
    const char* getBuffer() const { return m_pBuffer.get(); }  // null when empty
    long length() const { return m_nLength; }

    void Clear();

    /// Takes over an array made with new[], or nothing when it is null; \p len counts its payload.
    void Adopt(char* pArray, long len);

    /// Replaces the content by \p nLen bytes at \p pData, which may be a part of the present content. Null
    /// changes nothing; a length below 1 empties the object.
    void setBuffer(const char* pData, long nLen);

    /// Replaces the content by twice as many bytes, all zero but for the digits of the last byte of the old
    /// content at positions 4 and 5.
    void toHex();

    /// Replaces the content by the bytes that \p hexText spells, in letters of either case. A longer content
    /// keeps its length, with zeros behind the decoded bytes. A character that is no digit makes the object
    /// hold \p hexText as it is, or stops the decoding when \p hexText is the object's own buffer.
    /// \param hexText null: the object's own content, whatever \p len says.
    /// \param len     0: up to the zero byte of \p hexText; negative: nothing is decoded.
    void fromHex(const char* hexText, long len);

private:
    std::unique_ptr<char[]> Reset(long nLength);

    std::unique_ptr<char[]> m_pBuffer;
    long m_nLength = 0;
};

}  // namespace NS_UTIL
