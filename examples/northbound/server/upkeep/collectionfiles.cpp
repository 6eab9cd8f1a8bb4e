#include "server/upkeep/collectionfiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "nbihost/standalone.h"
#include "server/upkeep/serversettings.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

constexpr const char* MODULE = "collectionfiles";

bool EndsIn(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool IsPart(const std::string& name)
{
    return EndsIn(name, ".csv.part");
}

bool IsOurs(const std::string& name)
{
    return name.compare(0, 5, "perf-") == 0 &&
           (IsPart(name) || EndsIn(name, ".csv") || EndsIn(name, ".csv.gz") || EndsIn(name, ".tar") ||
            EndsIn(name, ".zip"));
}

bool IsTooOld(const CollectionFile& file, const Retention& retention)
{
    if (file.m_State == "running") return false;
    const std::chrono::hours limit = file.m_State == "part" ? retention.m_Part : retention.m_Whole;
    return limit.count() > 0 && file.m_Age > limit;
}

}  // namespace

CollectionFiles::CollectionFiles(std::string directory, IsRunning isRunning)
    : m_Directory(std::move(directory)), m_IsRunning(std::move(isRunning))
{
}

std::vector<CollectionFile> CollectionFiles::List() const
{
    const fs::file_time_type now = fs::file_time_type::clock::now();
    std::vector<CollectionFile> files;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_Directory, error)) {
        CollectionFile file;
        file.m_Name = entry.path().filename().string();
        if (!IsOurs(file.m_Name)) continue;
        file.m_nBytes = entry.file_size(error);
        if (error) continue;  // it has gone meanwhile
        file.m_Age = std::max(now - entry.last_write_time(error), std::chrono::nanoseconds(0));
        if (error) continue;
        file.m_State = !IsPart(file.m_Name) ? "whole" : m_IsRunning(file.m_Name) ? "running" : "part";
        files.push_back(std::move(file));
    }
    return files;
}

Swept CollectionFiles::Sweep(const Retention& retention) const
{
    std::vector<CollectionFile> files = List();
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.m_Age > b.m_Age; });
    std::uint64_t nBytes = 0;
    for (const CollectionFile& file : files) nBytes += file.m_nBytes;
    Swept swept;
    for (const CollectionFile& file : files) {
        const bool bTooMuch =
            retention.m_nBytes > 0 && nBytes > retention.m_nBytes && file.m_State != "running";
        const bool bTooOld = IsTooOld(file, retention);
        if (!bTooOld && !bTooMuch) continue;
        if (!Remove(file, bTooOld ? "too old" : "one of the oldest where there are too many bytes")) continue;
        nBytes -= file.m_nBytes;
        swept.m_nBytes += file.m_nBytes;
        ++swept.m_nFiles;
    }
    return swept;
}

bool CollectionFiles::Remove(const CollectionFile& file, const char* pWhy) const
{
    std::error_code error;
    if (!fs::remove(m_Directory + "/" + file.m_Name, error)) return false;
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%s removed: %s", file.m_Name.c_str(), pWhy);
    return true;
}

FolderClaim::FolderClaim(const char* pItem, const std::string& folder)
{
    const std::string place = std::string(pItem) + ": " + folder;
    std::error_code error;
    fs::create_directories(folder, error);
    if (error || access(folder.c_str(), W_OK | X_OK) != 0) {
        throw SettingsError(place +
                            " cannot be written: " + (error ? error.message() : std::strerror(errno)));
    }
    m_Folder.Reset(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_Folder.IsOpen()) throw SettingsError(place + " cannot be opened: " + std::strerror(errno));
    if (flock(m_Folder.Number(), LOCK_EX | LOCK_NB) != 0) {
        throw SettingsError(place + " is another server's: a process holds it");
    }
}

}  // namespace northbound
