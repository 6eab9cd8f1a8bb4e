/// \file
/// The command line of the client.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/commands/commands.h"
#include "client/commands/fetch.h"
#include "client/commands/secrets.h"

namespace CLI {
class App;
}

namespace northbound {

/// What it asks for.
struct CommandLine {
    OutputOptions m_Output;
    std::vector<std::string> m_Servers;  // none: the local one
    double m_Timeout = 30;               // seconds
    std::string m_ConfigFile;
    bool m_bShuffle = false;
    std::string m_Language = "en";
    std::string m_User;
    std::string m_PasswordFile = "-";  // of a command that takes one
    std::string m_LogInWith;           // where a server knows no session of the user's; "": nowhere
    std::string m_Port;
    std::string m_Code;
    std::string m_Operation;
    CollectOptions m_Collect;
    PackOptions m_Pack;
    PlotOptions m_Plot;
    ConfigOptions m_Config;
    TasksOptions m_Tasks;
    SecretOptions m_Secret;
    FetchOptions m_Fetch;
    std::function<int(const Session&)> m_Command;
    std::function<int()> m_CommandWithoutServer;  // in place of the other
};

/// The one description of options and commands: --help, manual page and completions come from it.
/// \p line must live as long as \p app.
void Describe(CLI::App& app, CommandLine& line);

/// \return the exit code when nothing is left to do: after --help or --version, or for a bad command line.
std::optional<int> Parse(int nArgs, char** pArgs, CommandLine& line);

}  // namespace northbound
