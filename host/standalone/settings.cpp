#include "settings.h"

#include <charconv>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include "inifile.h"
#include "nbihost/standalone.h"
#include "nbihost/trim.h"

namespace nbihost {
namespace {

constexpr const char* HOST_SECTION = "host";

/// One key of the host's own section, on its way into the settings.
class OwnKey {
public:
    OwnKey(const std::string& file, const IniEntry& entry) : m_File(file), m_Entry(entry) {}

    [[noreturn]] void Refuse(const std::string& why) const
    {
        throw HostError(m_File + ": [" + m_Entry.m_Section + "] " + m_Entry.m_Name + ": " + why);
    }

    std::uint64_t Number(std::uint64_t nMax) const
    {
        const std::string& text = m_Entry.m_Value;
        std::uint64_t nValue = 0;
        const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), nValue);
        if (error != std::errc() || pEnd != text.data() + text.size() || nValue < 1 || nValue > nMax) {
            Refuse('"' + text + "\" is not a whole number from 1 to " + std::to_string(nMax));
        }
        return nValue;
    }

    /// Place of the value in \p words.
    template <std::size_t COUNT>
    int Choice(const char* const (&words)[COUNT]) const
    {
        std::string known;
        for (std::size_t i = 0; i < COUNT; ++i) {
            if (m_Entry.m_Value == words[i]) return static_cast<int>(i);
            known += (i == 0 ? "" : ", ") + std::string(words[i]);
        }
        Refuse('"' + m_Entry.m_Value + "\" is none of: " + known);
    }

    /// The value as a path; a relative one starts at the configuration file's directory.
    std::string Path() const
    {
        if (m_Entry.m_Value.empty()) Refuse("is empty");
        const auto base = std::filesystem::absolute(m_File).parent_path();
        return (base / m_Entry.m_Value).string();
    }

    /// The value as the path of an existing directory, without a trailing separator.
    std::string Directory() const
    {
        std::string path = Path();
        std::error_code error;
        if (!std::filesystem::is_directory(path, error)) Refuse("no such directory: " + path);
        while (!path.empty() && path.back() == '/') path.pop_back();
        return path;
    }

    /// The value as "module:line" pairs with commas in between, by line.
    std::multimap<int, std::string> Lines() const
    {
        std::multimap<int, std::string> lines;
        std::istringstream pairs(m_Entry.m_Value);
        for (std::string pair; std::getline(pairs, pair, ',');) {
            if (lines.size() == MAX_LINES) Refuse("names more than " + std::to_string(MAX_LINES) + " lines");
            lines.insert(Line(NS_BUNDLEMGR1::Trim(pair)));
        }
        if (lines.empty()) Refuse("is empty");
        return lines;
    }

private:
    static constexpr std::size_t MAX_LINES = 100;

    std::pair<int, std::string> Line(const std::string& pair) const
    {
        const std::size_t nColon = pair.rfind(':');
        int nLine = 0;
        if (nColon != std::string::npos) {
            const char* const pEnd = pair.data() + pair.size();
            const auto [pStop, error] = std::from_chars(pair.data() + nColon + 1, pEnd, nLine);
            if (error != std::errc() || pStop != pEnd) nLine = 0;
        }
        if (nColon == 0 || nLine < 1) Refuse('"' + pair + "\" is not \"module:line\"");
        return {nLine, pair.substr(0, nColon)};
    }

    const std::string& m_File;
    const IniEntry& m_Entry;
};

using Setter = void (*)(Settings& settings, const OwnKey& key);

constexpr std::uint64_t MAX_ROTATE_BYTES = std::uint64_t{1} << 40;
constexpr std::uint64_t MAX_ROTATE_FILES = 100;
constexpr const char* NO_YES[] = {"no", "yes"};
constexpr const char* LEVELS[] = {"debug", "info", "warning", "error", "off"};

const std::map<std::string, Setter>& OwnKeys()
{
    static const std::map<std::string, Setter> keys{
        {"root", [](Settings& to, const OwnKey& key) { to.m_Root = key.Directory(); }},
        {"items_file", [](Settings& to, const OwnKey& key) { to.m_ItemsFile = key.Path(); }},
        {"log_file", [](Settings& to, const OwnKey& key) { to.m_Log.m_File = key.Path(); }},
        {"log_rotate_bytes",
         [](Settings& to, const OwnKey& key) { to.m_Log.m_nRotateBytes = key.Number(MAX_ROTATE_BYTES); }},
        {"log_rotate_files",
         [](Settings& to, const OwnKey& key) { to.m_Log.m_nRotateFiles = key.Number(MAX_ROTATE_FILES); }},
        {"log_stderr", [](Settings& to, const OwnKey& key) { to.m_Log.m_bStderr = key.Choice(NO_YES) == 1; }},
        {"log_as_debug", [](Settings& to, const OwnKey& key) { to.m_Log.m_AsDebug = key.Lines(); }},
        {"log_level", [](Settings& to, const OwnKey& key) { to.m_Log.m_nLevel = key.Choice(LEVELS); }},
    };
    return keys;
}

void Take(Settings& settings, const std::string& file, const IniEntry& entry)
{
    const OwnKey key(file, entry);
    const auto own = OwnKeys().find(entry.m_Name);
    if (entry.m_Section.empty()) key.Refuse("stands outside of every section");
    if (entry.m_Section == HOST_SECTION) {
        if (own == OwnKeys().end()) key.Refuse("unknown key");
        own->second(settings, key);
        return;
    }
    if (own != OwnKeys().end()) key.Refuse("belongs to the section [host]");
    settings.m_Items[entry.m_Name] = entry.m_Value;
    settings.m_ItemOrigins[entry.m_Name] = file;
}

void TakeItem(Settings& settings, const std::string& file, const IniEntry& entry)
{
    if (entry.m_Section == HOST_SECTION) OwnKey(file, entry).Refuse("belongs to the configuration file");
    Take(settings, file, entry);
}

std::string ReadConfiguration(const std::string& file)
{
    std::string text;
    const int nError = ReadWholeFile(file, text);
    if (nError != 0) throw HostError(file + ": cannot be read: " + std::strerror(nError));
    if (text.find('\0') != std::string::npos) throw HostError(file + ": is not a text file");
    const std::size_t nLine = FindMalformedLine(text);
    if (nLine != 0) {
        throw HostError(file + ": line " + std::to_string(nLine) +
                        " is no section, no comment and not \"key = value\"");
    }
    return text;
}

/// Before the first change there is no file.
std::string ReadItems(const std::string& file)
{
    std::error_code error;
    return std::filesystem::exists(file, error) || error ? ReadConfiguration(file) : std::string();
}

/// \return the names that stand in \p text.
std::set<std::string> TakeAll(Settings& settings, const std::string& file, const std::string& text,
                              void (*take)(Settings&, const std::string&, const IniEntry&))
{
    std::set<std::string> seen;
    for (const IniEntry& entry : ParseIni(text)) {
        if (!seen.insert(entry.m_Name).second) OwnKey(file, entry).Refuse("is given twice");
        take(settings, file, entry);
    }
    return seen;
}

std::mutex g_Mutex;

std::shared_ptr<const Settings>& SlotLocked()
{
    // Deliberate: never deleted, since a detached thread may still ask while the process ends.
    static auto* pSlot = new std::shared_ptr<const Settings>(std::make_shared<Settings>());
    return *pSlot;
}

}  // namespace

std::shared_ptr<const Settings> LoadSettings(const std::string& path)
{
    auto settings = std::make_shared<Settings>();
    const std::set<std::string> seen = TakeAll(*settings, path, ReadConfiguration(path), Take);
    if (seen.count("root") == 0) throw HostError(path + ": [host] root: is missing");
    if (!settings->m_ItemsFile.empty()) {
        TakeAll(*settings, settings->m_ItemsFile, ReadItems(settings->m_ItemsFile), TakeItem);
    }
    return settings;
}

std::shared_ptr<const Settings> CurrentSettings()
{
    std::lock_guard<std::mutex> guard(g_Mutex);
    return SlotLocked();
}

void PutInForce(std::shared_ptr<const Settings> settings)
{
    std::lock_guard<std::mutex> guard(g_Mutex);
    SlotLocked() = std::move(settings);
}

}  // namespace nbihost
