#include "server/upkeep/leftovers.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <thread>

#include "nbihost/standalone.h"
#include "server/upkeep/serversettings.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

constexpr const char* MODULE = "leftovers";
constexpr std::chrono::milliseconds POLL(50);

bool Packs(const fs::path& process)
{
    std::ifstream file(process / "comm");
    std::string name;
    std::getline(file, name);
    return name == "tar" || name == "gzip" || name == "zip";
}

pid_t NumberOf(const fs::path& process)
{
    const std::string name = process.filename().string();
    pid_t nProcess = 0;
    std::from_chars(name.data(), name.data() + name.size(), nProcess);
    return nProcess;
}

bool BeginsWith(const std::string& text, const std::string& start)
{
    return text.size() > start.size() && text.compare(0, start.size(), start) == 0;
}

}  // namespace

pid_t PackerIn(const std::string& folder)
{
    std::error_code error;
    const fs::path wanted = fs::canonical(folder, error);
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", error)) {
        const pid_t nProcess = NumberOf(process.path());
        if (nProcess <= 0 || !Packs(process.path())) continue;
        const fs::path place =
            fs::read_symlink(process.path() / "cwd", error);  // of other users: not readable
        if (!error && place == wanted) return nProcess;
    }
    return 0;
}

void AwaitPackers(const std::string& folder, std::chrono::milliseconds limit)
{
    pid_t nProcess = PackerIn(folder);
    if (nProcess == 0) return;
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "process %d still packs in %s; waiting for its end",
                 static_cast<int>(nProcess), folder.c_str());
    const auto end = std::chrono::steady_clock::now() + limit;
    for (; nProcess != 0; nProcess = PackerIn(folder)) {
        if (std::chrono::steady_clock::now() > end) {
            throw SettingsError("CollectionDirectory: process " + std::to_string(nProcess) +
                                " still packs in " + folder);
        }
        std::this_thread::sleep_for(POLL);
    }
}

std::size_t RemoveDrafts(const std::string& file)
{
    const std::string start = fs::path(file).filename().string() + ".nbi-draft.";
    std::size_t nGone = 0;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::absolute(file).parent_path(), error)) {
        if (!BeginsWith(entry.path().filename().string(), start) || !entry.is_regular_file(error)) continue;
        if (!fs::remove(entry.path(), error)) continue;
        ++nGone;
        nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s, a draft that nobody finished, is removed",
                     entry.path().c_str());
    }
    return nGone;
}

}  // namespace northbound
