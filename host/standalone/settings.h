/// \file
/// What the configuration file of the standalone host says, checked.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace nbihost {

struct LogOptions {
    std::string m_File;  // "": none
    std::uint64_t m_nRotateBytes = 10485760;
    std::uint64_t m_nRotateFiles = 5;
    bool m_bStderr = true;
    int m_nLevel = 1;  // a LogLevel, or one above the last for "off"
    std::multimap<int, std::string>
        m_AsDebug;  // line number to module: lines of level debug, whatever they say
};

struct Settings {
    std::string m_Root;  // without a trailing separator
    LogOptions m_Log;
    std::string m_ItemsFile;  // "": none
    std::map<std::string, std::string> m_Items;
    std::map<std::string, std::string> m_ItemOrigins;  // item to the file that it stands in
};

/// Items of the items file, where there is one, take the place of those of \p path.
/// \throws HostError naming the file and, where there is one, the key.
std::shared_ptr<const Settings> LoadSettings(const std::string& path);

/// The settings in force in this process; empty ones before the first start. Threads: any.
std::shared_ptr<const Settings> CurrentSettings();
void PutInForce(std::shared_ptr<const Settings> settings);

}  // namespace nbihost
