#include "util/configfile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <vector>

#include "base/filehandle.h"
#include "util/draft.h"

namespace NS_UTIL {
namespace {

constexpr mode_t OWNER_ALONE = 0600;

/// Bytes behind these belong to no line that is held.
constexpr std::size_t MAX_CONFIG_TEXT = MAX_CONFIG_LINES * (MAX_CONFIG_LINE_LENGTH + 1);

/// Reads until the text is full or the file ends, and cuts the text there.
bool ReadInto(int nFile, std::string& text)
{
    std::size_t nHeld = 0;
    while (nHeld < text.size()) {
        const ssize_t nRead = read(nFile, text.data() + nHeld, text.size() - nHeld);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return false;
        if (nRead == 0) break;
        nHeld += static_cast<std::size_t>(nRead);
    }
    text.resize(nHeld);
    return true;
}

std::vector<std::string_view> HeldLines(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (lines.size() < MAX_CONFIG_LINES) {
        const std::size_t nEnd = text.find('\n');
        const std::string_view line = text.substr(0, nEnd);
        lines.push_back(line.substr(0, MAX_CONFIG_LINE_LENGTH));
        // Deliberate: a line that is cut ends the reading, and empty lines fill the table behind it. Whoever
        // compares edited files relies on their number of lines.
        if (line.size() > MAX_CONFIG_LINE_LENGTH) lines.resize(MAX_CONFIG_LINES);
        if (nEnd == std::string_view::npos) break;
        text.remove_prefix(nEnd + 1);
    }
    return lines;
}

void BuildItem(const std::string& key, const std::string& value, std::string& item)
{
    const bool bOption = key == "SSLVersion" || key == "SSLPrivateKeyPasswd";
    item.reserve(key.size() + value.size() + 2);
    if (bOption) item += '-';
    item += key;
    item += bOption ? ' ' : '=';
    item += value;
}

void JoinLines(const std::vector<std::string_view>& lines, std::string& text)
{
    std::size_t nSize = lines.size();
    for (const std::string_view line : lines) nSize += line.size();
    text.reserve(nSize);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) text += '\n';
        text += lines[i];
    }
}

bool Overwrite(int nFile, const std::string& text)
{
    return lseek(nFile, 0, SEEK_SET) == 0 && WriteAll(nFile, text) &&
           ftruncate(nFile, static_cast<off_t>(text.size())) == 0 && fsync(nFile) == 0;
}

bool ReadWhole(const std::string& path, const struct stat& status, std::string& text)
{
    if (status.st_size > static_cast<off_t>(MAX_CONFIG_TEXT)) {
        errno = EFBIG;
        return false;
    }
    const FileHandle file(OpenFile(path.c_str(), O_RDONLY));
    if (!file.IsOpen()) return false;
    text.resize(static_cast<std::size_t>(status.st_size));
    return ReadInto(file.Get(), text);
}

bool RewriteInPlace(int nFile, const std::string& path, const struct stat& status, const std::string& text)
{
    WipedText old;
    if (!ReadWhole(path, status, old.m_Text)) return false;
    if (Overwrite(nFile, text)) return true;
    const int nError = errno;
    Overwrite(nFile, old.m_Text);
    errno = nError;
    return false;
}

bool Replace(int nFile, const std::string& path, const struct stat& status, const std::string& text)
{
    std::array<char, PATH_MAX> target;
    if (realpath(path.c_str(), target.data()) != nullptr) {
        RemoveAbandonedDrafts(target.data());
        Draft draft(target.data());
        if (draft.Resembles(status)) {
            if (!draft.Store(text)) return false;
            if (draft.TakePlace()) return draft.SyncFolder();
        }
    }
    return RewriteInPlace(nFile, path, status, text);
}

}  // namespace

bool ReadConfigText(const std::string& path, WipedText& text)
{
    const FileHandle file(OpenFile(path.c_str(), O_RDONLY));
    if (!file.IsOpen()) return false;
    // Not what the file says of its length: one that grows meanwhile would be written back without its end.
    text.m_Text.resize(MAX_CONFIG_TEXT);
    return ReadInto(file.Get(), text.m_Text);
}

void EditConfigText(std::string_view text, const std::string& key, const std::string& value,
                    WipedText& edited)
{
    WipedText item;
    BuildItem(key, value, item.m_Text);
    std::vector<std::string_view> lines = HeldLines(text);
    for (std::string_view& line : lines) {
        if (line.find(key) != std::string_view::npos) line = item.m_Text;
    }
    JoinLines(lines, edited.m_Text);
}

StoreResult StoreConfigText(const std::string& path, const std::string& text)
{
    const FileHandle file(OpenFile(path.c_str(), O_WRONLY | O_CREAT, OWNER_ALONE));
    struct stat status;
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) return StoreResult::NOT_OPENED;
    const bool bStored = S_ISREG(status.st_mode) ? Replace(file.Get(), path, status, text)
                                                 : WriteAll(file.Get(), text);  // a device or a pipe
    return bStored ? StoreResult::STORED : StoreResult::NOT_STORED;
}

}  // namespace NS_UTIL
