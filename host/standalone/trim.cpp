#include "nbihost/trim.h"

namespace NS_BUNDLEMGR1 {
namespace {

constexpr const char* BLANKS = " \t\r\n\v\f";

}  // namespace

std::string LTrim(const std::string& text)
{
    const std::size_t nBegin = text.find_first_not_of(BLANKS);
    return nBegin == std::string::npos ? std::string() : text.substr(nBegin);
}

std::string RTrim(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(BLANKS) + 1);  // npos + 1 is 0: nothing but blanks
}

std::string Trim(const std::string& text)
{
    return LTrim(RTrim(text));
}

}  // namespace NS_BUNDLEMGR1
