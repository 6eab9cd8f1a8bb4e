// What a command line is taken for, against what ACE then hands to the child, and against ACE's other splitter where the
// two mean the same.
#include <ace/ARGV.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/demand.h"
#include "util/commandline.h"

namespace {

using nbitest::Demand;

std::size_t WordsForTheChild(NS_UTIL::ChildOptions& options)
{
    char* const* ppWord = options.command_line_argv();
    std::size_t nWords = 0;
    while (ppWord[nWords] != nullptr) ++nWords;
    return nWords;
}

/// ACE_ARGV knows escapes, comments, the environment, and more blanks than " ".
bool MeansTheSame(const std::string& command)
{
    return std::all_of(command.begin(), command.end(), [](unsigned char character) {
        return character == ' ' ||
               (std::isgraph(character) != 0 && std::strchr("\\\"'$#", character) == nullptr);
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const std::string command(reinterpret_cast<const char*>(pData), nSize);
    const int nError = NS_UTIL::CommandError("", command);
    if (nSize > NS_UTIL::MAX_COMMAND_LENGTH) {
        Demand(nError == E2BIG, "a command that ACE cuts is refused");
        return 0;
    }
    if (command.find('\0') != std::string::npos) {
        Demand(nError == EINVAL, "a zero byte is refused");
        return 0;
    }
    NS_UTIL::ChildOptions options;
    options.SetCommand(command);
    const std::size_t nWords = nError == EINVAL ? 0 : WordsForTheChild(options);
    if (nError == 0) {
        Demand(nWords > 0 && nWords <= NS_UTIL::MAX_COMMAND_WORDS, "words of an accepted command");
    }
    if (nError == E2BIG) Demand(nWords >= NS_UTIL::MAX_COMMAND_WORDS, "too many words");
    if (!MeansTheSame(command)) return 0;
    ACE_ARGV other(command.c_str(), false);
    const auto nOthers = static_cast<std::size_t>(other.argc());
    Demand((nError == EINVAL) == (nOthers == 0), "no word at all");
    Demand((nError == E2BIG) == (nOthers > NS_UTIL::MAX_COMMAND_WORDS), "words that are too many");
    if (nError != 0) return 0;
    Demand(nOthers == nWords, "the number of words");
    for (std::size_t i = 0; i < nWords; ++i) {
        Demand(std::strcmp(options.command_line_argv()[i], other.argv()[i]) == 0, "a word");
    }
    return 0;
}
