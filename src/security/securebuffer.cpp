#include "nbiutil/securebuffer.h"

#include <cstddef>
#include <cstring>

#include "base/wipe.h"
#include "nbihost/annexk.h"

namespace NS_UTIL {
namespace {

constexpr int NULL_SOURCE = -1;
constexpr int FAILED_COPY = -2;

}  // namespace

AutoReleaseString::~AutoReleaseString()
{
    const WipedArray pOld(m_pBuffer, WipingDelete{m_nLength});
}

const char* AutoReleaseString::getBuffer() const
{
    return m_pBuffer;
}

unsigned int AutoReleaseString::length() const
{
    return m_nLength;
}

int AutoReleaseString::setBuffer(const char* pData)
{
    if (pData == nullptr) return NULL_SOURCE;
    return setBuffer(pData, static_cast<unsigned int>(std::strlen(pData)));
}

int AutoReleaseString::setBuffer(const char* pData, unsigned int nLen)
{
    if (pData == nullptr) return NULL_SOURCE;
    const WipedArray pOld(m_pBuffer, WipingDelete{m_nLength});  // until the end: data may point into it
    m_pBuffer = nullptr;
    m_nLength = 0;

    const std::size_t nSize = static_cast<std::size_t>(nLen) + 1;
    m_pBuffer = new char[nSize];
    m_nLength = nLen;
    if (memset_s(m_pBuffer, nSize, 0, nSize) != 0) {
        WipeBytes(m_pBuffer, nSize);  // the caller may look at it, and it held whatever the heap left there
        return FAILED_COPY;
    }
    return memcpy_s(m_pBuffer, nSize, pData, nLen) == 0 ? 0 : FAILED_COPY;
}

PwdCtrlString::~PwdCtrlString()
{
    ClearStr();
}

void PwdCtrlString::SetStr(const std::string& text)
{
    if (&text == &m_Text) return;
    ClearStr();
    m_Text = text;
}

void PwdCtrlString::ClearStr()
{
    ClearStr(m_Text);
}

void PwdCtrlString::ClearStr(std::string& s)
{
    MaskText(s);
}

}  // namespace NS_UTIL
