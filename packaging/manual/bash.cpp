// Completion for bash: what may follow is looked up by the command so far and the word before.
#include "writers.h"

namespace manual {
namespace {

std::string Function(std::string name)
{
    for (char& c : name) {
        if (c == '-') c = '_';
    }
    return '_' + name;
}

std::string Words(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

/// What may stand behind \p option, as a command of the shell.
std::string ValuesOf(const OptionModel& option)
{
    if (option.TakesFile()) return "COMPREPLY=($(compgen -f -- \"$current\"))";
    return "COMPREPLY=($(compgen -W \"" + Words(option.m_Choices) + "\" -- \"$current\"))";
}

/// Options of the program itself may stand behind each command.
std::string ValueCases(const Program& program)
{
    std::string cases;
    for (const CommandModel& command : program) {
        for (const OptionModel& option : command.m_Options) {
            if (option.m_Value.empty()) continue;
            std::string names;
            for (const std::string& name : option.m_Names) {
                names += names.empty() ? "" : "|";
                names +=
                    command.m_Name.empty() ? "*\":" + name + "\"" : '"' + command.m_Name + ":" + name + '"';
            }
            cases += "        " + names + ") " + ValuesOf(option) + "; return ;;\n";
        }
    }
    return cases;
}

std::string WordCases(const Program& program)
{
    std::string cases;
    for (const CommandModel& command : program) {
        std::vector<std::string> words = command.m_Commands;
        bool bFile = false;
        for (const OptionModel& argument : command.m_Arguments) bFile = bFile || argument.TakesFile();
        for (const OptionModel& option : command.m_Options) {
            words.insert(words.end(), option.m_Names.begin(), option.m_Names.end());
        }
        cases += "        \"" + command.m_Name + "\") words=\"" + Words(words) + '"' +
                 (bFile ? "; files=yes" : "") + " ;;\n";
    }
    return cases;
}

std::string CommandNames(const Program& program)
{
    std::string names;
    for (const CommandModel& command : program) {
        if (!command.m_Name.empty()) names += (names.empty() ? "\"" : "|\"") + command.m_Name + '"';
    }
    return names.empty() ? "\"\"" : names;
}

}  // namespace

std::string BashCompletion(const std::string& name, const Program& program)
{
    std::vector<std::string> general;
    for (const OptionModel& option : program.front().m_Options) {
        general.insert(general.end(), option.m_Names.begin(), option.m_Names.end());
    }
    return "# Completion of " + name + " for bash.\n" + Function(name) + "()\n{\n" +
           "    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    local command= words= files= word\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case \"${command:+$command }$word\" in\n"
           "            " +
           CommandNames(program) +
           ") command=${command:+$command }$word ;;\n"
           "        esac\n"
           "    done\n"
           "    case \"$command:$before\" in\n" +
           ValueCases(program) + "    esac\n    case \"$command\" in\n" + WordCases(program) +
           "    esac\n"
           "    COMPREPLY=($(compgen -W \"$words " +
           Words(general) +
           "\" -- \"$current\"))\n"
           "    [ -z \"$files\" ] || COMPREPLY+=($(compgen -f -- \"$current\"))\n"
           "}\ncomplete -F " +
           Function(name) + ' ' + name + '\n';
}

}  // namespace manual
