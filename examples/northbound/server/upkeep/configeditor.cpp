#include "server/upkeep/configeditor.h"

#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "nbihost/standalone.h"
#include "nbiutil/selfutilcommon.h"
#include "server/serving/failure.h"
#include "shared/names.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

constexpr const char* MODULE = "configeditor";

// What the library's edit carries over whole.
using NS_UTIL::MAX_CONFIG_LINE_LENGTH;
using NS_UTIL::MAX_CONFIG_LINES;

[[noreturn]] void Refuse(const std::string& detail)
{
    ThrowFailure(ErrCode::NOT_CONFIGURED, MODULE, detail);
}

std::string TextOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void CheckItem(const std::string& key, const std::string& value)
{
    if (key.empty() || key.find_first_of("=;#[] \t\r\n") != std::string::npos) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE, "\"" + key + "\" is no key");
    }
    if (value.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE, "the value of " + key + " has more than one line");
    }
    if (key.size() + 1 + value.size() > MAX_CONFIG_LINE_LENGTH) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE, "the value of " + key + " is too long for a line");
    }
}

}  // namespace

ConfigEditor::ConfigEditor(std::string configFile, std::function<void()> reload)
    : m_ConfigFile(fs::canonical(configFile).string()),  // a link stays a link
      m_BackupFolder(m_ConfigFile + ".d"),
      m_BackupFile(m_BackupFolder + "/" + fs::path(m_ConfigFile).filename().string()),
      m_Reload(std::move(reload))
{
}

void ConfigEditor::Set(const std::string& key, const std::string& value)
{
    CheckItem(key, value);
    const std::lock_guard<std::mutex> guard(m_Mutex);
    CheckFile(key);
    const std::string before = TextOf(m_ConfigFile);
    std::error_code error;
    fs::create_directory(m_BackupFolder, error);
    fs::remove(m_BackupFile, error);
    // The command runs between reading and writing: it copies the file as it was.
    const std::string copy = "cp -p -t " + m_BackupFolder + " ";
    if (!NS_UTIL::SelfUtilCommon::Instance()->modifyCorbaItemByCfg(m_ConfigFile, key, value, copy)) {
        Refuse(m_ConfigFile + " cannot be written");
    }
    try {
        if (!fs::exists(m_BackupFile)) throw std::runtime_error("no copy could be made in " + m_BackupFolder);
        m_Reload();
    } catch (const std::exception& e) {
        PutBack(before);
        Refuse(std::string(e.what()) + "; the configuration is as it was");
    }
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%s set in %s", key.c_str(), m_ConfigFile.c_str());
}

void ConfigEditor::CheckFile(const std::string& key) const
{
    std::ifstream file(m_ConfigFile);
    if (!file) Refuse(m_ConfigFile + " cannot be read");
    std::size_t nLines = 0;
    std::size_t nFound = 0;
    for (std::string line; std::getline(file, line);) {
        ++nLines;
        if (line.size() > MAX_CONFIG_LINE_LENGTH) {
            Refuse("line " + std::to_string(nLines) + " of " + m_ConfigFile + " is longer than " +
                   std::to_string(MAX_CONFIG_LINE_LENGTH) + " characters");
        }
        if (line.find(key) != std::string::npos) ++nFound;
    }
    if (nLines > MAX_CONFIG_LINES)
        Refuse(m_ConfigFile + " has more than " + std::to_string(MAX_CONFIG_LINES) + " lines");
    if (nFound == 0) Refuse("there is no " + key + " in " + m_ConfigFile);
    if (nFound > 1) Refuse(std::to_string(nFound) + " lines of " + m_ConfigFile + " hold the text " + key);
}

/// The copy takes the file's place in one step, and is in force again. Without a copy the text is written
/// back.
void ConfigEditor::PutBack(const std::string& before) const
{
    std::error_code error;
    fs::rename(m_BackupFile, m_ConfigFile, error);
    if (error) std::ofstream(m_ConfigFile, std::ios::binary) << before;
    m_Reload();
}

}  // namespace northbound
