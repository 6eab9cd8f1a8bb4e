// Lists in mdoc, one macro a line.
#include "writers.h"

namespace manual {
namespace {

/// \p text as words that mdoc does not take for anything else.
std::string Plain(const std::string& text)
{
    std::string plain;
    for (const char c : text) {
        if (c == '\\') {
            plain += "\\e";
        } else if (c == '\n') {
            plain += ' ';
        } else {
            plain += c;
        }
    }
    return plain.empty() || (plain[0] != '.' && plain[0] != '\'') ? plain : "\\&" + plain;
}

/// As one argument of a macro.
std::string Quoted(const std::string& text)
{
    std::string quoted;
    for (const char c : Plain(text)) quoted += c == '"' ? std::string("\\(dq") : std::string(1, c);
    return '"' + quoted + '"';
}

/// A line of running text: begins with a capital and ends with a full stop.
std::string Sentence(const std::string& text)
{
    return Plain(text) + ".\n";
}

std::string Joined(const std::vector<std::string>& words, const std::string& between)
{
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : between) + word;
    return joined;
}

std::string Names(const OptionModel& option)
{
    std::string names;
    for (const std::string& name : option.m_Names) {
        names += (names.empty() ? "Fl " : " , Fl ") + name.substr(1);
        if (!option.m_Value.empty()) names += " Ar " + Quoted(option.m_Value);
    }
    return names;
}

std::string Details(const OptionModel& option)
{
    std::string details = Sentence(option.m_Description);
    if (!option.m_Choices.empty()) details += Sentence("One of " + Joined(option.m_Choices, ", "));
    if (!option.m_Range.empty()) details += Sentence("Range: " + option.m_Range);
    if (!option.m_Default.empty()) details += Sentence("Default: " + option.m_Default);
    return details;
}

std::string List(const std::vector<OptionModel>& options, const std::vector<OptionModel>& arguments)
{
    if (options.empty() && arguments.empty()) return "";
    std::string list = ".Bl -tag -width Ds\n";
    for (const OptionModel& argument : arguments) {
        list += ".It Ar " + Quoted(argument.m_Names[0]) + (argument.m_bSeveral ? " ...\n" : "\n");
        list += Details(argument);
    }
    for (const OptionModel& option : options) list += ".It " + Names(option) + '\n' + Details(option);
    return list + ".El\n";
}

/// Without the program's own help, which each command has again.
std::vector<OptionModel> OwnOptions(const CommandModel& command)
{
    std::vector<OptionModel> own;
    for (const OptionModel& option : command.m_Options) {
        if (option.m_Names.back() != "--help") own.push_back(option);
    }
    return own;
}

}  // namespace

std::string OptionsInMdoc(const Program& program)
{
    return List(program.front().m_Options, program.front().m_Arguments);
}

std::string CommandsInMdoc(const Program& program)
{
    std::string commands;
    for (std::size_t i = 1; i < program.size(); ++i) {
        const CommandModel& command = program[i];
        if (!command.m_Commands.empty()) continue;  // nothing but a word in front of others
        commands += ".Ss " + command.m_Name + '\n' + Sentence(command.m_Description) +
                    List(OwnOptions(command), command.m_Arguments);
    }
    return commands;
}

}  // namespace manual
