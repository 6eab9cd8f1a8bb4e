#include "client/commands/partstore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "client/commands/failure.h"
#include "client/texts/texts.h"

namespace northbound {
namespace {

[[noreturn]] void FailToWrite(const std::string& path)
{
    throw InputError(Say("{1} cannot be written: {2}", {path, std::strerror(errno)}));
}

bool IsSameFile(int nFile, const std::string& path)
{
    struct stat opened {};
    struct stat named {};
    return fstat(nFile, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
           opened.st_dev == named.st_dev;
}

/// Gives the file's bytes to \p take, a block at a time.
/// \return false when there is no such file, or it cannot be read to its end
template <class Take>
bool ReadAll(const std::string& path, const Take& take)
{
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Number(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    std::array<char, 65536> block;
    for (;;) {
        const ssize_t nRead = read(file.Number(), block.data(), block.size());
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead <= 0) return nRead == 0;
        take(block.data(), static_cast<std::size_t>(nRead));
    }
}

}  // namespace

PartStore::PartStore(const std::string& file, const std::string& operation)
    : m_File(file), m_Operation(operation), m_DraftPath(file + ".draft")
{
    Claim();
}

PartStore::~PartStore()
{
    if (m_Draft.IsOpen()) unlink(m_DraftPath.c_str());
}

std::string PartStore::PathOf(const PartExtent& part) const
{
    return m_File + "." + m_Operation + "." + std::to_string(part.m_nFirst) + ".part";
}

void PartStore::Claim()
{
    if (m_Draft.IsOpen()) return;
    Descriptor file(
        open(m_DraftPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666));
    if (!file.IsOpen()) FailToWrite(m_DraftPath);
    if (flock(file.Number(), LOCK_EX | LOCK_NB) != 0 || !IsSameFile(file.Number(), m_DraftPath)) {
        throw InputError(Say("another client is writing {1}", {m_DraftPath}));
    }
    m_Draft.Reset(file.Release());
}

bool PartStore::Has(const PartExtent& part) const
{
    PartLines lines;
    return ReadAll(PathOf(part), [&lines](const char* p, std::size_t n) { lines.Add(p, n); }) &&
           lines.Are(part.m_nSamples);
}

void PartStore::Begin()
{
    Claim();
    if (ftruncate(m_Draft.Number(), 0) != 0 || lseek(m_Draft.Number(), 0, SEEK_SET) != 0) {
        FailToWrite(m_DraftPath);
    }
    m_Lines = PartLines();
}

void PartStore::Write(const char* pBytes, std::size_t nBytes)
{
    while (nBytes > 0) {
        const ssize_t nWritten = write(m_Draft.Number(), pBytes, nBytes);
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten <= 0) FailToWrite(m_DraftPath);
        pBytes += nWritten;
        nBytes -= static_cast<std::size_t>(nWritten);
    }
}

void PartStore::Add(const char* pBytes, std::size_t nBytes)
{
    m_Lines.Add(pBytes, nBytes);
    Write(pBytes, nBytes);
}

void PartStore::RenameTo(const std::string& path)
{
    if (fsync(m_Draft.Number()) != 0 || std::rename(m_DraftPath.c_str(), path.c_str()) != 0) {
        FailToWrite(path);
    }
    m_Draft.Close();
}

bool PartStore::Keep(const PartExtent& part)
{
    if (!m_Lines.Are(part.m_nSamples)) return false;
    RenameTo(PathOf(part));
    return true;
}

bool PartStore::Append(const PartExtent& part, std::string& heading)
{
    const bool bFirst = heading.empty();
    std::string own;
    const auto take = [&](const char* p, std::size_t n) {
        if (own.empty() || own.back() != '\n') {
            const char* const pEnd = static_cast<const char*>(std::memchr(p, '\n', n));
            const std::size_t nNames = pEnd == nullptr ? n : static_cast<std::size_t>(pEnd - p) + 1;
            own.append(p, nNames);
            if (!bFirst) {
                p += nNames;
                n -= nNames;
            }
        }
        Write(p, n);
    };
    if (!ReadAll(PathOf(part), take)) {
        throw InputError(Say("{1} cannot be read: {2}", {PathOf(part), std::strerror(errno)}));
    }
    if (bFirst) heading = own;
    return own == heading;
}

bool PartStore::Join(const std::vector<PartExtent>& parts)
{
    Begin();
    std::string heading;
    for (const PartExtent& part : parts) {
        if (!Append(part, heading)) return false;
    }
    RenameTo(m_File);
    for (const PartExtent& part : parts) unlink(PathOf(part).c_str());
    return true;
}

}  // namespace northbound
