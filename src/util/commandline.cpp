#include "util/commandline.h"

#include <ace/Tokenizer_T.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

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

ACE_Tokenizer WordsIn(char* pText)
{
    ACE_Tokenizer words(pText);  // set up as ACE_Process_Options does it
    words.delimiter_replace(' ', '\0');
    words.preserve_designators('"', '"');
    words.preserve_designators('\'', '\'');
    return words;
}

/// The words of \p command, counted to one above the limit.
std::size_t CountWords(const std::string& command)
{
    WipedText copy;  // the tokenizer writes into its text
    copy.m_Text = command;
    ACE_Tokenizer words = WordsIn(copy.m_Text.data());
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
    // ACE goes on without the memory that it did not get, and leaves what it would have asked for behind that unset.
    const bool bBuffers = command_line_buf_ != nullptr && environment_buf_ != nullptr;
    if (!bBuffers) environment_argv_ = nullptr;
    if (environment_argv_ == nullptr) command_line_argv_ = nullptr;
    if (command_line_argv_ == nullptr) throw std::bad_alloc();
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

/// Splits the command into words at once: ACE does so at the first use, also where it had no memory for the copy that it
/// splits.
void ChildOptions::SetCommand(const std::string& command)
{
    command_line("%s", command.c_str());
    const std::size_t nLength = std::strlen(command_line_buf_);
    delete[] std::exchange(command_line_copy_, nullptr);
    command_line_copy_ = new char[nLength + 1];
    std::copy_n(command_line_buf_, nLength + 1, command_line_copy_);
    ACE_Tokenizer words = WordsIn(command_line_copy_);
    std::size_t nWords = 0;
    while (nWords < MAX_COMMAND_WORDS && (command_line_argv_[nWords] = words.next()) != nullptr) ++nWords;
    command_line_argv_[nWords] = nullptr;
    command_line_argv_calculated_ = true;
}

}  // namespace NS_UTIL
