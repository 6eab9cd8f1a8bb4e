#include "inifile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#define SI_NO_CONVERSION
// Its header keeps the templates' bodies behind this; the library beside it needs ICU.
#define SI_IMPLEMENTATION
#include <SimpleIni.h>

namespace nbihost {
namespace {

class FileDescriptor {
public:
    explicit FileDescriptor(int nFd) : m_nFd(nFd) {}
    ~FileDescriptor()
    {
        if (m_nFd >= 0) ::close(m_nFd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int Get() const { return m_nFd; }

private:
    int m_nFd;
};

int ReadToEnd(int nFd, std::string& text)
{
    char chunk[16384];
    for (;;) {
        const ssize_t nRead = ::read(nFd, chunk, sizeof chunk);
        if (nRead == 0) return 0;
        if (nRead > 0) {
            text.append(chunk, static_cast<std::size_t>(nRead));
            if (text.size() > MAX_FILE_BYTES) return EFBIG;
        } else if (errno != EINTR) {
            return errno;
        }
    }
}

/// An entry with its place in the file, which SimpleIni counts over all sections.
struct Placed {
    int m_nOrder;
    IniEntry m_Entry;
};

bool IsMalformed(const std::string& line)
{
    const std::size_t nBegin = line.find_first_not_of(" \t");
    if (nBegin == std::string::npos) return false;
    if (line[nBegin] == ';' || line[nBegin] == '#') return false;
    if (line[nBegin] == '[') return line.find(']', nBegin) == std::string::npos;
    const std::size_t nEquals = line.find('=', nBegin);
    return nEquals == std::string::npos || nEquals == nBegin;
}

}  // namespace

int ReadWholeFile(const std::string& path, std::string& text)
{
    // Deliberate: O_NONBLOCK. Whoever reads all files of a directory must not hang on a pipe in it.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0) return errno;
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0) return errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode)) return EINVAL;
    if (status.st_size > static_cast<off_t>(MAX_FILE_BYTES)) return EFBIG;
    text.clear();
    return ReadToEnd(file.Get(), text);
}

std::vector<IniEntry> ParseIni(const std::string& text)
{
    CSimpleIniCaseA ini;
    ini.SetMultiKey(true);
    if (ini.LoadData(text.data(), text.size()) < 0) throw std::bad_alloc();

    std::vector<Placed> placed;
    CSimpleIniCaseA::TNamesDepend sections;
    ini.GetAllSections(sections);
    for (const auto& section : sections) {
        const CSimpleIniCaseA::TKeyVal* const pKeys = ini.GetSection(section.pItem);
        if (pKeys == nullptr) continue;
        for (const auto& [key, pValue] : *pKeys) {
            placed.push_back({key.nOrder, {section.pItem, key.pItem, pValue}});
        }
    }
    std::sort(placed.begin(), placed.end(),
              [](const Placed& left, const Placed& right) { return left.m_nOrder < right.m_nOrder; });

    std::vector<IniEntry> entries;
    entries.reserve(placed.size());
    for (Placed& one : placed) entries.push_back(std::move(one.m_Entry));
    return entries;
}

std::size_t FindMalformedLine(const std::string& text)
{
    constexpr const char* BOM = "\xEF\xBB\xBF";
    std::size_t nBegin = text.compare(0, 3, BOM) == 0 ? 3 : 0;
    for (std::size_t nLine = 1; nBegin < text.size(); ++nLine) {
        const std::size_t nEnd = std::min(text.find_first_of("\r\n", nBegin), text.size());
        if (IsMalformed(text.substr(nBegin, nEnd - nBegin))) return nLine;
        nBegin = nEnd + (text.compare(nEnd, 2, "\r\n") == 0 ? 2 : 1);
    }
    return 0;
}

}  // namespace nbihost
