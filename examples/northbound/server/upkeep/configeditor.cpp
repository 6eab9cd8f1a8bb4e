#include "server/upkeep/configeditor.h"

#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
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

std::string Trimmed(const std::string& text)
{
    constexpr const char* BLANKS = " \t\r";
    const std::size_t nFirst = text.find_first_not_of(BLANKS);
    return nFirst == std::string::npos ? "" : text.substr(nFirst, text.find_last_not_of(BLANKS) + 1 - nFirst);
}

/// What the file at \p path sets \p key to.
std::optional<std::string> ValueIn(const std::string& path, const std::string& key)
{
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        const std::size_t nEquals = line.find('=');
        if (nEquals != std::string::npos && Trimmed(line.substr(0, nEquals)) == key) {
            return Trimmed(line.substr(nEquals + 1));
        }
    }
    return std::nullopt;
}

/// In one step, so that a server that is killed meanwhile leaves the old text or the new one.
void Store(const std::string& path, const std::string& text)
{
    const std::string draft = path + ".part";
    std::ofstream file(draft, std::ios::binary | std::ios::trunc);
    file << text << std::flush;
    std::error_code error;
    if (file) fs::rename(draft, path, error);
    if (!file || error) Refuse(path + " cannot be written");
}

}  // namespace

ConfigEditor::ConfigEditor(std::string configFile, std::string changedFile, std::function<void()> reload)
    : m_ConfigFile(std::move(configFile)),
      m_ChangedFile(fs::weakly_canonical(changedFile).string()),  // a link stays a link
      m_BackupFolder(m_ChangedFile + ".d"),
      m_BackupFile(m_BackupFolder + "/" + fs::path(m_ChangedFile).filename().string()),
      m_bApart(m_ChangedFile != fs::weakly_canonical(m_ConfigFile)),
      m_Reload(std::move(reload))
{
}

void ConfigEditor::Set(const std::string& key, const std::string& value)
{
    CheckItem(key, value);
    std::lock_guard<std::mutex> guard(m_Mutex);
    const std::string before = TextOf(m_ChangedFile);
    const bool bAdopted = m_bApart && !ValueIn(m_ChangedFile, key);
    if (bAdopted) Adopt(key, before);
    try {
        Edit(key, value, before);
    } catch (...) {
        if (bAdopted) Store(m_ChangedFile, before);
        throw;
    }
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%s set in %s", key.c_str(), m_ChangedFile.c_str());
}

void ConfigEditor::Reload()
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Reload();
}

/// The item as it stands in the configuration becomes a line of the file of changes: nothing is in force that
/// was not before, and the edit finds its line.
void ConfigEditor::Adopt(const std::string& key, const std::string& before) const
{
    const std::optional<std::string> value = ValueIn(m_ConfigFile, key);
    if (!value) Refuse("there is no " + key + " in " + m_ConfigFile);
    std::string text = before.empty() ? "[items]" : before;
    if (text.back() != '\n') text += '\n';
    Store(m_ChangedFile, text + key + '=' + *value + '\n');
}

void ConfigEditor::Edit(const std::string& key, const std::string& value, const std::string& before)
{
    CheckFile(key);
    std::error_code error;
    fs::create_directory(m_BackupFolder, error);
    fs::remove(m_BackupFile, error);
    // The command runs between reading and writing: it copies the file as it was.
    const std::string copy = "cp -p -t " + m_BackupFolder + " ";
    if (!NS_UTIL::SelfUtilCommon::Instance()->modifyCorbaItemByCfg(m_ChangedFile, key, value, copy)) {
        Refuse(m_ChangedFile + " cannot be written");
    }
    try {
        if (!fs::exists(m_BackupFile)) throw std::runtime_error("no copy could be made in " + m_BackupFolder);
        m_Reload();
    } catch (const std::exception& e) {
        PutBack(before);
        Refuse(std::string(e.what()) + "; the configuration is as it was");
    }
}

void ConfigEditor::CheckFile(const std::string& key) const
{
    std::ifstream file(m_ChangedFile);
    if (!file) Refuse(m_ChangedFile + " cannot be read");
    if (!ValueIn(m_ChangedFile, key)) Refuse("there is no " + key + " in " + m_ChangedFile);
    std::size_t nLines = 0;
    std::size_t nFound = 0;
    for (std::string line; std::getline(file, line);) {
        ++nLines;
        if (line.size() > MAX_CONFIG_LINE_LENGTH) {
            Refuse("line " + std::to_string(nLines) + " of " + m_ChangedFile + " is longer than " +
                   std::to_string(MAX_CONFIG_LINE_LENGTH) + " characters");
        }
        if (line.find(key) != std::string::npos) ++nFound;
    }
    if (nLines > MAX_CONFIG_LINES) {
        Refuse(m_ChangedFile + " has more than " + std::to_string(MAX_CONFIG_LINES) + " lines");
    }
    if (nFound > 1) Refuse(std::to_string(nFound) + " lines of " + m_ChangedFile + " hold the text " + key);
}

/// The copy takes the file's place in one step, and is in force again. Without a copy the text is written
/// back.
void ConfigEditor::PutBack(const std::string& before) const
{
    std::error_code error;
    fs::rename(m_BackupFile, m_ChangedFile, error);
    if (error) std::ofstream(m_ChangedFile, std::ios::binary) << before;
    m_Reload();
}

}  // namespace northbound
