#include "util/draft.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace NS_UTIL {
namespace {

constexpr mode_t PERMISSION_BITS = 07777;
constexpr std::string_view DRAFT_MARK = ".nbi-draft.";
constexpr std::string_view DRAFT_LETTERS = "XXXXXX";  // which mkostemp() replaces
constexpr int MAX_TRIES = 8;

std::string FolderOf(const std::string& target)
{
    return target.substr(0, std::max<std::size_t>(target.rfind('/'), 1));
}

bool IsDraftOf(std::string_view fileName, std::string_view name)
{
    if (name.size() != fileName.size() + DRAFT_MARK.size() + DRAFT_LETTERS.size()) return false;
    if (name.substr(0, fileName.size()) != fileName) return false;
    return name.substr(fileName.size(), DRAFT_MARK.size()) == DRAFT_MARK;
}

struct CloseFolder {
    void operator()(DIR* pFolder) const { closedir(pFolder); }
};
using FolderStream = std::unique_ptr<DIR, CloseFolder>;

FolderStream OpenFolder(const std::string& path)
{
    const int nHandle = OpenFile(path.c_str(), O_RDONLY | O_DIRECTORY);
    if (nHandle < 0) return nullptr;
    FolderStream folder(fdopendir(nHandle));
    if (!folder) close(nHandle);
    return folder;
}

void RemoveUnlessHeld(int nFolder, const char* pName)
{
    constexpr int FLAGS = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const FileHandle draft(AboveStandardStreams(openat(nFolder, pName, FLAGS)));
    struct stat status;
    if (!draft.IsOpen() || fstat(draft.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    if (flock(draft.Get(), LOCK_EX | LOCK_NB) == 0) unlinkat(nFolder, pName, 0);
}

/// False for a draft that another edit takes for an abandoned one: it has seen it before it was locked. Where
/// the file system has no locks, nobody removes drafts.
bool Hold(int nDraft)
{
    if (flock(nDraft, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return false;
    struct stat status;
    return fstat(nDraft, &status) == 0 && status.st_nlink > 0;
}

/// \param[out] path the draft's name
/// \return          -1 when none can be made
int MakeDraft(const std::string& target, std::string& path)
{
    for (int i = 0; i < MAX_TRIES; ++i) {
        path = target;
        path.append(DRAFT_MARK).append(DRAFT_LETTERS);
        const int nDraft = AboveStandardStreams(mkostemp(path.data(), O_CLOEXEC));
        if (nDraft < 0 || Hold(nDraft)) return nDraft;
        close(nDraft);
    }
    return -1;
}

}  // namespace

void RemoveAbandonedDrafts(const std::string& target)
{
    const FolderStream folder = OpenFolder(FolderOf(target));
    if (!folder) return;
    const std::string fileName = target.substr(target.rfind('/') + 1);
    while (const dirent* pEntry = readdir(folder.get())) {
        if (IsDraftOf(fileName, pEntry->d_name)) RemoveUnlessHeld(dirfd(folder.get()), pEntry->d_name);
    }
}

bool WriteAll(int nFile, const std::string& text)
{
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t nWritten = write(nFile, rest.data(), rest.size());
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) return false;
        rest.remove_prefix(static_cast<std::size_t>(nWritten));
    }
    return true;
}

Draft::Draft(const std::string& target) : m_Target(target), m_File(MakeDraft(target, m_Path))
{
}

Draft::~Draft()
{
    if (m_File.IsOpen() && !m_bInPlace) unlink(m_Path.c_str());
}

bool Draft::Resembles(const struct stat& wanted)
{
    struct stat status;
    return m_File.IsOpen() && fchown(m_File.Get(), wanted.st_uid, wanted.st_gid) == 0 &&
           fchmod(m_File.Get(), wanted.st_mode & PERMISSION_BITS) == 0 && fstat(m_File.Get(), &status) == 0 &&
           status.st_uid == wanted.st_uid && status.st_gid == wanted.st_gid &&
           status.st_mode == wanted.st_mode;
}

bool Draft::Store(const std::string& text)
{
    return WriteAll(m_File.Get(), text) && fsync(m_File.Get()) == 0;
}

bool Draft::TakePlace()
{
    m_bInPlace = std::rename(m_Path.c_str(), m_Target.c_str()) == 0;
    return m_bInPlace;
}

bool Draft::SyncFolder() const
{
    const FileHandle folder(OpenFile(FolderOf(m_Target).c_str(), O_RDONLY | O_DIRECTORY));
    if (folder.IsOpen() && fsync(folder.Get()) == 0) return true;
    // A folder that may be written and not read, or a file system that syncs no folders by themselves.
    const bool bUnable = !folder.IsOpen() || errno == EINVAL;
    return bUnable && syncfs(m_File.Get()) == 0;
}

}  // namespace NS_UTIL
