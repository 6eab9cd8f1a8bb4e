/// \file
/// Command lines: what ACE can hand to a child, and the options it is handed in.
#pragma once

#include <ace/Process.h>

#include <string>

#include "nbiutil/zipfile.h"  // the limits

namespace NS_UTIL {

/// Whether ACE would hand \p command and \p workDir to a child as they are: it cuts off what is too much
/// without a word, and callers delete the files that a command has packed.
/// \return 0, or E2BIG for over MAX_COMMAND_LENGTH characters or over MAX_COMMAND_WORDS words as ACE splits
///         them, or EINVAL for no word at all or a zero byte in either text.
int CommandError(const std::string& workDir, const std::string& command);

/// ACE's options for one child process: the environment is inherited, and every copy of the command line that
/// the object holds is overwritten with zeros when it goes, since command lines may carry passwords.
class ChildOptions : public ACE_Process_Options {
public:
    /// \throws std::bad_alloc
    ChildOptions();
    ~ChildOptions();
    ChildOptions(const ChildOptions&) = delete;
    ChildOptions& operator=(const ChildOptions&) = delete;

    /// \return false when \p workDir has more than the 4,096 characters of its field, which stays empty.
    bool SetWorkingDirectory(const std::string& workDir);

    /// Takes \p command literally: a "%" is a "%".
    /// \throws std::bad_alloc
    void SetCommand(const std::string& command);
};

}  // namespace NS_UTIL
