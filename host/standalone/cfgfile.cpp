#include "nbihost/cfgfile.h"

#include <utility>

#include "inifile.h"
#include "settings.h"

namespace NS_BUNDLEMGR1 {

bool GetAllCfgFrmFile(std::vector<NameValueStru>& pairs, const std::string& path, bool)
{
    std::string text;
    if (nbihost::ReadWholeFile(path, text) != 0) return false;
    // A zero byte would end the parse, and the pairs behind it would be lost without a word.
    if (text.find('\0') != std::string::npos) return false;
    for (nbihost::IniEntry& entry : nbihost::ParseIni(text)) {
        pairs.push_back({std::move(entry.m_Name), std::move(entry.m_Value)});
    }
    return true;
}

std::string GetTAVOEnvironment()
{
    return nbihost::CurrentSettings()->m_Root;
}

}  // namespace NS_BUNDLEMGR1
