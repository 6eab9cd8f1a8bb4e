/// \file
/// Child processes: the check whether a command can be started, and the options it is started with.
///
/// ACE does not tell that a command cannot run: with a missing program its spawn gives a process id and the
/// child exits; with a missing working directory the child runs in the caller's; without any word it reads
/// behind an empty table; a command that is too long is cut. Callers delete the files that a command has
/// packed, so all of this is found out before ACE is asked.
#pragma once

#include <ace/Process.h>

#include <cstddef>
#include <string>

namespace NS_UTIL {

/// What ACE hands to a child at most; it cuts the rest without a word.
constexpr std::size_t MAX_COMMAND_LENGTH = 1023;
constexpr std::size_t MAX_COMMAND_WORDS = 127;

/// 0 when \p command can be started in \p workDir (empty: the current directory), else the error number that
/// says why not:
/// - E2BIG: over 1,023 characters, or over 127 words as ACE splits them (at blanks, outside quotes);
/// - EINVAL: no word at all, or a zero byte in either text;
/// - what chdir() would answer for the directory;
/// - what execvp() would answer for the first word, searched from that directory with this process's PATH;
///   a script's interpreter counts as part of its program.
/// Only the moment of the call counts: who removes the program right afterwards goes unnoticed.
int StartError(const std::string& workDir, const std::string& command);

/// ACE's options for one child process: the environment is inherited, and every copy of the command line that
/// the object holds is overwritten with zeros when it goes, since command lines may carry passwords.
class ChildOptions : public ACE_Process_Options {
public:
    ChildOptions();
    ~ChildOptions();
    ChildOptions(const ChildOptions&) = delete;
    ChildOptions& operator=(const ChildOptions&) = delete;

    /// \return false when \p workDir has more than the 4,096 characters of its field, which stays empty.
    bool SetWorkingDirectory(const std::string& workDir);

    /// Takes \p command literally: a "%" is a "%".
    void SetCommand(const std::string& command);
};

}  // namespace NS_UTIL
