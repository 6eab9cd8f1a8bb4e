/// \file
/// Holders for sensitive bytes that overwrite their content before they release it.
#pragma once

#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// An owned byte buffer that is overwritten with zeros before its storage goes. The payload may hold zero
/// bytes; one more zero byte follows it, so that a payload without any can be read as text.
///
/// The order of the virtual operations is part of the binary interface.
///
/// Ownership: the object owns the array until the next setBuffer() or its own end.
/// Threads: none; an object belongs to one thread at a time.
/// Errors: the results below; only a failing allocation throws.
class NBI_EXPORT AutoReleaseString {
public:
    /// Empty: no buffer, length 0.
    AutoReleaseString() = default;
    virtual ~AutoReleaseString();
    AutoReleaseString(const AutoReleaseString&) = delete;
    AutoReleaseString& operator=(const AutoReleaseString&) = delete;

    /// The payload and its terminating zero byte.
    /// \return null when nothing was ever set; valid until the next setBuffer()
    virtual const char* getBuffer() const;

    /// Bytes of payload, the terminating zero byte not counted.
    virtual unsigned int length() const;

    /// Copies a text through the other setBuffer(), a subclass's own included.
    /// \param pData zero-terminated
    /// \return as the other one
    [[nodiscard]] virtual int setBuffer(const char* pData);

    /// Replaces the content. Throws when memory is short: the object is empty then, its old content wiped.
    /// \param pData may be a part of the present content
    /// \param nLen  bytes at \p pData
    /// \return 0; -1 when \p pData is null, and nothing has changed; -2 when the host's bounds-checked fill
    ///         or copy fails (beyond 256 MiB they usually do), and the payload is then \p nLen zero bytes
    [[nodiscard]] virtual int setBuffer(const char* pData, unsigned int nLen);

private:
    char* m_pBuffer = nullptr;  // m_nLength + 1 bytes
    unsigned int m_nLength = 0;
};

/// A password text that is overwritten with '*' before it is released.
/// Ownership: the object owns its copy; texts it is given stay the caller's, who wipes them.
/// Threads: none; an object belongs to one thread at a time.
/// Errors: only a failing allocation throws, and the object then holds nothing.
class NBI_EXPORT PwdCtrlString {
public:
    /// Empty.
    PwdCtrlString() = default;
    ~PwdCtrlString();
    PwdCtrlString(const PwdCtrlString&) = delete;
    PwdCtrlString& operator=(const PwdCtrlString&) = delete;

    /// Masks the held text, then holds a copy of \p text. The caller's own text stays as it is.
    void SetStr(const std::string& text);
    const std::string& GetStr() const { return m_Text; }

    /// Overwrites every character of the held text with '*'; the length stays.
    void ClearStr();

    /// Overwrites every character of \p s with '*'; the length stays.
    static void ClearStr(std::string& s);

private:
    std::string m_Text;
};

}  // namespace NS_UTIL
