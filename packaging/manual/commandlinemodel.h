/// \file
/// A command line as manual pages and completions need it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace manual {

struct OptionModel {
    std::vector<std::string> m_Names;  // "-s", "--server"; of an argument its one name
    std::string m_Description;
    std::string m_Value;                 // what it takes, such as FILE; "" for a flag
    std::string m_Default;               // "": none
    std::string m_Range;                 // "0 - 65535"; "": none
    std::vector<std::string> m_Choices;  // empty: free
    bool m_bRequired = false;
    bool m_bSeveral = false;

    bool TakesFile() const { return m_Value == "FILE"; }
};

struct CommandModel {
    std::string m_Name;  // with the names of those above it in front: "config set"; of the program itself ""
    std::string m_Description;
    std::vector<OptionModel> m_Options;    // with a dash
    std::vector<OptionModel> m_Arguments;  // without
    std::vector<std::string> m_Commands;   // last words of the names of those below
};

struct ProgramModel {
    std::string m_Name;
    std::vector<CommandModel> m_Commands;  // the program itself first, each in front of those below it
};

/// The program whose command line \p describe puts into the empty one that it is given.
ProgramModel ModelOf(const std::function<void(CLI::App&)>& describe);

}  // namespace manual
