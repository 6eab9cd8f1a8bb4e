#include "util/commandline.h"

#include <ace/Tokenizer_T.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "base/wipe.h"
#include "base/wipedtext.h"
#include "nbihost/annexk.h"

namespace NS_UTIL {
namespace {

constexpr std::size_t COMMAND_BUFFER = MAX_COMMAND_LENGTH + 1;
constexpr std::size_t ENVIRONMENT_BUFFER_SIZE = 16384;
constexpr std::size_t MAX_ENVIRONMENT_ENTRIES = 512;
constexpr std::size_t MAX_ARGUMENTS = MAX_COMMAND_WORDS + 1;

bool HasZeroByte(const std::string& text)
{
    return text.find('\0') != std::string::npos;
}

/// The words of \p command, counted to one above the limit.
std::size_t CountWords(const std::string& command)
{
    WipedText copy;  // the tokenizer writes into its text
    copy.m_Text = command;
    ACE_Tokenizer words(copy.m_Text.data());  // set up as ACE_Process_Options does it
    words.delimiter_replace(' ', '\0');
    words.preserve_designators('"', '"');
    words.preserve_designators('\'', '\'');
    std::size_t nWords = 0;
    while (nWords <= MAX_COMMAND_WORDS && words.next() != nullptr) ++nWords;
    return nWords;
}

}  // namespace

int CommandError(const std::string& workDir, const std::string& command)
{
    if (command.size() > MAX_COMMAND_LENGTH) return E2BIG;
    if (HasZeroByte(command) || HasZeroByte(workDir)) return EINVAL;
    const std::size_t nWords = CountWords(command);
    if (nWords == 0) return EINVAL;
    return nWords > MAX_COMMAND_WORDS ? E2BIG : 0;
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
