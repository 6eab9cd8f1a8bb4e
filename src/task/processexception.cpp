#include "nbiutil/processexception.h"

#include "task/raise.h"

namespace NS_UTIL {

void Raise(const SourceMark& mark, unsigned long nCode, const std::string& detail)
{
    throw ProcessException(static_cast<unsigned int>(nCode), mark.m_pModule, mark.m_pFunction, mark.m_nLine,
                           ProcessException::BuildMessage(nCode, detail));
}

}  // namespace NS_UTIL
