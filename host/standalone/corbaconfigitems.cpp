#include "nbihost/corbaconfigitems.h"

#include <charconv>

#include "settings.h"

namespace NS_BUNDLEMGR1 {

CorbaConfigItems* CorbaConfigItems::Instance()
{
    static CorbaConfigItems items;
    return &items;
}

bool CorbaConfigItems::GetIntItemInfo(const std::string& name, int& nValue)
{
    std::string text;
    if (!GetStrItemInfo(name, text)) return false;
    int nParsed = 0;
    const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), nParsed);
    if (error != std::errc() || pEnd != text.data() + text.size()) return false;
    nValue = nParsed;
    return true;
}

bool CorbaConfigItems::GetStrItemInfo(const std::string& name, std::string& value)
{
    const auto settings = nbihost::CurrentSettings();
    const auto found = settings->m_Items.find(name);
    if (found == settings->m_Items.end()) return false;
    value = found->second;
    return true;
}

}  // namespace NS_BUNDLEMGR1
