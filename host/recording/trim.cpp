#include "nbihost/trim.h"

#include <cstddef>

namespace NS_BUNDLEMGR1 {
namespace {

bool IsBlank(char character)
{
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

}  // namespace

std::string LTrim(const std::string& text)
{
    std::size_t nBegin = 0;
    while (nBegin < text.size() && IsBlank(text[nBegin])) ++nBegin;
    return text.substr(nBegin);
}

std::string RTrim(const std::string& text)
{
    std::size_t nEnd = text.size();
    while (nEnd > 0 && IsBlank(text[nEnd - 1])) --nEnd;
    return text.substr(0, nEnd);
}

std::string Trim(const std::string& text)
{
    return LTrim(RTrim(text));
}

}  // namespace NS_BUNDLEMGR1
