#include "util/commandline.h"

#include <ace/Tokenizer_T.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/filehandle.h"
#include "base/wipe.h"
#include "base/wipedtext.h"
#include "nbihost/annexk.h"

namespace NS_UTIL {
namespace {

constexpr std::size_t COMMAND_BUFFER = MAX_COMMAND_LENGTH + 1;
constexpr std::size_t ENVIRONMENT_BUFFER_SIZE = 16384;
constexpr std::size_t MAX_ENVIRONMENT_ENTRIES = 512;
constexpr std::size_t MAX_ARGUMENTS = MAX_COMMAND_WORDS + 1;

/// The kernel looks no further into a script for its interpreter, and follows no longer chain of them.
constexpr std::size_t SCRIPT_HEAD = 256;
constexpr int MAX_INTERPRETERS = 5;

int ExecError(int nDir, const std::string& path, int nDepth);

std::string InterpreterIn(std::string_view head)
{
    if (head.substr(0, 2) != "#!") return std::string();
    head = head.substr(2, head.find('\n') - 2);
    head.remove_prefix(std::min(head.find_first_not_of(" \t"), head.size()));
    return std::string(head.substr(0, head.find_first_of(std::string_view(" \t\0", 3))));
}

/// A file that cannot be read, or that names no interpreter, runs all the same: execvp() falls back to the
/// shell.
int InterpreterError(int nDir, const std::string& path, int nDepth)
{
    const FileHandle file(openat(nDir, path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.IsOpen()) return 0;
    std::array<char, SCRIPT_HEAD> head;
    const ssize_t nRead = read(file.Get(), head.data(), head.size());
    if (nRead <= 0) return 0;
    const std::string interpreter =
        InterpreterIn(std::string_view(head.data(), static_cast<std::size_t>(nRead)));
    if (interpreter.empty()) return 0;
    return nDepth < MAX_INTERPRETERS ? ExecError(nDir, interpreter, nDepth + 1) : ELOOP;
}

/// What execve() would answer for \p path, relative names being looked up from \p nDir.
int ExecError(int nDir, const std::string& path, int nDepth)
{
    struct stat status;
    if (fstatat(nDir, path.c_str(), &status, 0) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return EACCES;
    if (faccessat(nDir, path.c_str(), X_OK, AT_EACCESS) != 0) return errno;
    return InterpreterError(nDir, path, nDepth);
}

std::string SearchPath()
{
    if (const char* pPath = std::getenv("PATH")) return pPath;
    std::array<char, PATH_MAX> standard{};
    confstr(_CS_PATH, standard.data(), standard.size());
    return standard.data();
}

/// The errors after which execvp() tries the next folder of the PATH.
bool IsPassedOver(int nError)
{
    return nError == ENOENT || nError == ESTALE || nError == ENOTDIR || nError == ENODEV ||
           nError == ETIMEDOUT;
}

/// A folder may be empty (the working directory) or relative to the working directory.
int SearchError(int nDir, const std::string& program)
{
    const std::string path = SearchPath();
    bool bDenied = false;
    int nError = ENOENT;
    for (std::size_t nBegin = 0, nEnd = 0; nEnd != std::string::npos; nBegin = nEnd + 1) {
        nEnd = path.find(':', nBegin);
        std::string candidate = path.substr(nBegin, nEnd - nBegin);
        if (candidate.size() >= PATH_MAX) continue;
        if (!candidate.empty()) candidate += '/';
        nError = ExecError(nDir, candidate.append(program), 0);
        if (nError == EACCES) {
            bDenied = true;
        } else if (!IsPassedOver(nError)) {
            return nError;
        }
    }
    return bDenied ? EACCES : nError;
}

int ProgramError(int nDir, const std::string& program)
{
    if (program.empty()) return ENOENT;
    if (program.find('/') != std::string::npos) return ExecError(nDir, program, 0);
    return program.size() > NAME_MAX ? ENAMETOOLONG : SearchError(nDir, program);
}

bool HasZeroByte(const std::string& text)
{
    return text.find('\0') != std::string::npos;
}

/// \param[out] program the first word
/// \return 0, or why the words of \p command make no command.
int WordError(const std::string& command, std::string& program)
{
    WipedText copy;  // the tokenizer writes into its text
    copy.m_Text = command;
    ACE_Tokenizer words(copy.m_Text.data());  // set up as ACE_Process_Options does it
    words.delimiter_replace(' ', '\0');
    words.preserve_designators('"', '"');
    words.preserve_designators('\'', '\'');
    const char* const pFirst = words.next();
    if (pFirst == nullptr) return EINVAL;
    program = pFirst;
    std::size_t nWords = 1;
    while (nWords <= MAX_COMMAND_WORDS && words.next() != nullptr) ++nWords;
    return nWords > MAX_COMMAND_WORDS ? E2BIG : 0;
}

}  // namespace

int StartError(const std::string& workDir, const std::string& command)
{
    if (command.size() > MAX_COMMAND_LENGTH) return E2BIG;
    if (HasZeroByte(command) || HasZeroByte(workDir)) return EINVAL;
    std::string program;
    if (const int nError = WordError(command, program)) return nError;
    if (workDir.empty()) return ProgramError(AT_FDCWD, program);
    const FileHandle dir(open(workDir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!dir.IsOpen() || faccessat(dir.Get(), ".", X_OK, AT_EACCESS) != 0) return errno;
    return ProgramError(dir.Get(), program);
}

ChildOptions::ChildOptions()
    : ACE_Process_Options(true, COMMAND_BUFFER, ENVIRONMENT_BUFFER_SIZE, MAX_ENVIRONMENT_ENTRIES,
                          MAX_ARGUMENTS)
{
}

ChildOptions::~ChildOptions()
{
    if (command_line_copy_ != nullptr) WipeBytes(command_line_copy_, std::strlen(command_line_buf_));
    WipeBytes(command_line_buf_, command_line_buf_len_);
    WipeBytes(process_name_, sizeof process_name_);
}

bool ChildOptions::SetWorkingDirectory(const std::string& workDir)
{
    if (workDir.size() >= sizeof working_directory_) return false;
    return memcpy_s(working_directory_, sizeof working_directory_, workDir.c_str(), workDir.size() + 1) == 0;
}

void ChildOptions::SetCommand(const std::string& command)
{
    command_line("%s", command.c_str());
}

}  // namespace NS_UTIL
