#include "client/commands/keyfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "client/commands/report.h"
#include "client/texts/texts.h"
#include "shared/descriptor.h"
#include "shared/localsocket.h"

namespace northbound {
namespace {

/// The longest key is half of it.
constexpr std::size_t ROOM = 64;

/// A part of a file's name for \p text, another one for each other text.
std::string NameFor(const std::string& text)
{
    std::string name;
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-') {
            name += c;
            continue;
        }
        char code[8];
        std::snprintf(code, sizeof(code), "_%02X", static_cast<unsigned int>(c) & 0xFFU);
        name += code;
    }
    return name;
}

[[noreturn]] void Fail(const std::string& path, const std::string& what)
{
    throw InputError(path + " " + what);
}

[[noreturn]] void FailToWrite(const std::string& path)
{
    throw InputError(Say("{1} cannot be written: {2}", {path, std::strerror(errno)}));
}

bool IsOwnAlone(int nFile)
{
    struct stat status {};
    return fstat(nFile, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

}  // namespace

KeyFile::KeyFile(const std::string& server, const std::string& user)
    : m_Folder(RuntimeFolder()), m_Path(m_Folder + "/key-" + NameFor(user) + "@" + NameFor(server))
{
}

std::string KeyFile::Read() const
{
    const Descriptor file(open(m_Path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.IsOpen()) return "";
    const std::string fault = FolderFault(m_Folder);
    if (!fault.empty()) Fail(m_Folder, Translated(fault));
    if (!IsOwnAlone(file.Number())) Fail(m_Path, Say("is open to other users; remove it and log in again"));
    char text[ROOM];
    const ssize_t nLength = read(file.Number(), text, sizeof(text));
    return std::string(text, nLength < 0 ? 0 : static_cast<std::size_t>(nLength));
}

void KeyFile::Write(const std::string& key) const
{
    if (mkdir(m_Folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) FailToWrite(m_Folder);
    const std::string fault = FolderFault(m_Folder);
    if (!fault.empty()) Fail(m_Folder, Translated(fault));
    const std::string draft = m_Path + ".part";
    unlink(draft.c_str());  // of a client that was killed
    const Descriptor file(open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.IsOpen()) FailToWrite(draft);
    if (write(file.Number(), key.data(), key.size()) != static_cast<ssize_t>(key.size())) FailToWrite(draft);
    if (std::rename(draft.c_str(), m_Path.c_str()) != 0) FailToWrite(m_Path);
}

void KeyFile::Remove() const
{
    unlink(m_Path.c_str());
}

}  // namespace northbound
