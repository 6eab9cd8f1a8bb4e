// Completion for zsh, in the words of its _arguments.
#include "writers.h"

namespace manual {
namespace {

/// \p text within single quotes and within the brackets or behind the colons of a specification.
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '\'') {
            escaped += "'\\''";
        } else if (c == '[' || c == ']' || c == ':' || c == '\\') {
            escaped += std::string("\\") + c;
        } else {
            escaped += c == '\n' ? ' ' : c;
        }
    }
    return escaped;
}

std::string Joined(const std::vector<std::string>& words, const char* pBetween)
{
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : pBetween) + word;
    return joined;
}

/// Behind the colon: what it is called, and what completes it.
std::string ValueOf(const OptionModel& option)
{
    const std::string values = option.TakesFile()         ? "_files"
                               : option.m_Choices.empty() ? " "
                                                          : "(" + Joined(option.m_Choices, " ") + ")";
    return ":" + Escaped(option.m_Value) + ":" + values;
}

std::string Specification(const OptionModel& option)
{
    const std::string behind =
        "'[" + Escaped(option.m_Description) + "]" + (option.m_Value.empty() ? "" : ValueOf(option)) + "'";
    if (option.m_Names.size() == 1) return option.m_Names[0] + behind;
    return "'(" + Joined(option.m_Names, " ") + ")'{" + Joined(option.m_Names, ",") + "}" + behind;
}

std::string Arguments(const CommandModel& command, const std::vector<OptionModel>& general)
{
    std::string lines;
    for (const OptionModel& option : command.m_Options) lines += " \\\n        " + Specification(option);
    for (const OptionModel& option : general) {
        if (option.m_Names.back() != "--help") lines += " \\\n        " + Specification(option);
    }
    for (const OptionModel& argument : command.m_Arguments) {
        lines += std::string(" \\\n        '") + (argument.m_bSeveral ? "*" : "") + ValueOf(argument) + "'";
    }
    return lines;
}

std::string Function(const std::string& name, const std::string& command)
{
    std::string function = "_" + name;
    if (!command.empty()) function += "-" + command;
    for (char& c : function) {
        if (c == ' ') c = '-';
    }
    return function;
}

std::string DescriptionOf(const Program& program, const std::string& name)
{
    for (const CommandModel& command : program) {
        if (command.m_Name == name) return command.m_Description;
    }
    return "";
}

/// A command with others below: offers them, and hands over to the one that was chosen.
std::string Chooser(const std::string& name, const Program& program, const CommandModel& command)
{
    const std::string prefix = command.m_Name.empty() ? "" : command.m_Name + " ";
    std::string offers;
    std::string cases;
    for (const std::string& below : command.m_Commands) {
        offers += "            '" + below + ":" + Escaped(DescriptionOf(program, prefix + below)) + "'\n";
        cases += "            " + below + ") " + Function(name, prefix + below) + " ;;\n";
    }
    return "    case $state in\n        command)\n            local -a commands=(\n" + offers +
           "            )\n            _describe command commands ;;\n        rest)\n"
           "            case $words[1] in\n" +
           cases + "            esac ;;\n    esac\n";
}

}  // namespace

std::string ZshCompletion(const std::string& name, const Program& program)
{
    std::string text = "#compdef " + name + "\n# Completion of " + name + " for zsh.\n";
    for (const CommandModel& command : program) {
        const bool bChooses = !command.m_Commands.empty();
        text += "\n" + Function(name, command.m_Name) + "()\n{\n";
        if (bChooses) text += "    local state line\n    typeset -A opt_args\n";
        text += std::string("    _arguments") + (bChooses ? " -C" : "") +
                Arguments(command,
                          command.m_Name.empty() ? std::vector<OptionModel>() : program.front().m_Options);
        if (bChooses) text += " \\\n        '1: :->command' \\\n        '*:: :->rest'";
        text += "\n";
        if (bChooses) text += Chooser(name, program, command);
        text += "}\n";
    }
    return text + "\n" + Function(name, "") + " \"$@\"\n";
}

}  // namespace manual
