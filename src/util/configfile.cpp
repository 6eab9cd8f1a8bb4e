#include "util/configfile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/filehandle.h"

namespace NS_UTIL {
namespace {

constexpr mode_t PERMISSION_BITS = 07777;
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

bool WriteAll(int nFile, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t nWritten = write(nFile, text.data(), text.size());
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(nWritten));
    }
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

/// A new file beside another one. Removed when it goes, unless it has taken the other one's place.
class Sibling {
public:
    explicit Sibling(const std::string& target)
        : m_Target(target), m_Path(target + ".XXXXXX"), m_File(mkostemp(m_Path.data(), O_CLOEXEC))
    {
    }
    ~Sibling()
    {
        if (m_File.IsOpen() && !m_bInPlace) unlink(m_Path.c_str());
    }
    Sibling(const Sibling&) = delete;
    Sibling& operator=(const Sibling&) = delete;

    /// False when there is no sibling, or none with this owner and mode.
    bool Resembles(const struct stat& wanted)
    {
        struct stat status;
        return m_File.IsOpen() && fchown(m_File.Get(), wanted.st_uid, wanted.st_gid) == 0 &&
               fchmod(m_File.Get(), wanted.st_mode & PERMISSION_BITS) == 0 &&
               fstat(m_File.Get(), &status) == 0 && status.st_uid == wanted.st_uid &&
               status.st_gid == wanted.st_gid && status.st_mode == wanted.st_mode;
    }

    bool Store(const std::string& text) { return WriteAll(m_File.Get(), text) && fsync(m_File.Get()) == 0; }

    bool TakePlace()
    {
        m_bInPlace = std::rename(m_Path.c_str(), m_Target.c_str()) == 0;
        return m_bInPlace;
    }

private:
    std::string m_Target;
    std::string m_Path;
    FileHandle m_File;
    bool m_bInPlace = false;
};

bool Overwrite(int nFile, const std::string& text)
{
    return lseek(nFile, 0, SEEK_SET) == 0 && WriteAll(nFile, text) &&
           ftruncate(nFile, static_cast<off_t>(text.size())) == 0 && fsync(nFile) == 0;
}

bool ReadWhole(const std::string& path, const struct stat& status, std::string& text)
{
    const FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
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
        Sibling sibling(target.data());
        if (sibling.Resembles(status)) {
            if (!sibling.Store(text)) return false;
            if (sibling.TakePlace()) return true;  // refused where the file is a mount point
        }
    }
    return RewriteInPlace(nFile, path, status, text);
}

}  // namespace

bool ReadConfigText(const std::string& path, WipedText& text)
{
    const FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) return false;
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
    const FileHandle file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, OWNER_ALONE));
    struct stat status;
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) return StoreResult::NOT_OPENED;
    const bool bStored = S_ISREG(status.st_mode) ? Replace(file.Get(), path, status, text)
                                                 : WriteAll(file.Get(), text);  // a device or a pipe
    return bStored ? StoreResult::STORED : StoreResult::NOT_STORED;
}

}  // namespace NS_UTIL
