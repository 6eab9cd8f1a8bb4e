#include "nbihost/cfgfile.h"

#include <dlfcn.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <utility>

#include "inifile.h"
#include "settings.h"

namespace {

/// Where the reasons lie that are installed with the library: beside this one, wherever it has been moved.
std::filesystem::path InstalledReasons()
{
    Dl_info info{};
    static const char here = 0;
    if (::dladdr(&here, &info) == 0 || info.dli_fname == nullptr) return {};
    return std::filesystem::path(info.dli_fname).parent_path() / NBIHOST_REASONS_FROM_LIBRARY;
}

/// The static-data file holds the library's own reasons. A root that has none gets the installed ones.
int ReadResourceFile(const std::string& path, std::string& text)
{
    const int nError = nbihost::ReadWholeFile(path, text);
    const std::filesystem::path wanted(path);
    if (nError != ENOENT || wanted.filename() != "errcode_TAVO_TDT.res") return nError;
    const std::filesystem::path language = wanted.parent_path().filename();
    if (path != nbihost::CurrentSettings()->m_Root + "/../nbi/corba/res/staticdata/" + language.string() +
                    "/errcode_TAVO_TDT.res") {
        return nError;
    }
    return nbihost::ReadWholeFile((InstalledReasons() / language / wanted.filename()).string(), text);
}

}  // namespace

namespace NS_BUNDLEMGR1 {

bool GetAllCfgFrmFile(std::vector<NameValueStru>& pairs, const std::string& path, bool)
try {
    std::string text;
    if (ReadResourceFile(path, text) != 0) return false;
    // A zero byte would end the parse, and the pairs behind it would be lost without a word.
    if (text.find('\0') != std::string::npos) return false;
    for (nbihost::IniEntry& entry : nbihost::ParseIni(text)) {
        pairs.push_back({std::move(entry.m_Name), std::move(entry.m_Value)});
    }
    return true;
} catch (const std::exception&) {
    return false;  // out of memory: like every other file that cannot be read
}

std::string GetTAVOEnvironment()
{
    return nbihost::CurrentSettings()->m_Root;
}

}  // namespace NS_BUNDLEMGR1
