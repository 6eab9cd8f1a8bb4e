#include "server/upkeep/lockfile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace northbound {
namespace {

/// The number that \p nFile begins with; "another" where there is none, as between a lock and its number.
std::string ProcessIn(int nFile)
{
    char text[16] = {};
    const ssize_t nRead = pread(nFile, text, sizeof(text), 0);
    const std::string read(text, static_cast<std::size_t>(std::max<ssize_t>(nRead, 0)));
    const std::string number = read.substr(0, read.find_first_not_of("0123456789"));
    return number.empty() ? "another" : number;
}

/// For people alone: the lock holds without it.
void WriteProcess(int nFile)
{
    const std::string text = std::to_string(getpid()) + "\n";
    const bool bTold = ftruncate(nFile, 0) == 0 && pwrite(nFile, text.data(), text.size(), 0) > 0;
    static_cast<void>(bTold);
}

}  // namespace

LockFile::LockFile(const std::string& path)
    : m_File(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR))
{
    if (!m_File.IsOpen()) {
        m_Fault = path + " cannot be opened: " + std::strerror(errno);
    } else if (flock(m_File.Number(), LOCK_EX | LOCK_NB) == 0) {
        WriteProcess(m_File.Number());
    } else {
        m_Holder = ProcessIn(m_File.Number());
        m_File.Close();
    }
}

}  // namespace northbound
