/// \file
/// The command line of the server.
#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace northbound {

enum ExitCode { EXIT_ORDERLY = 0, EXIT_UNFORESEEN = 1, EXIT_BAD_INPUT = 2, EXIT_NO_ENDPOINT = 3 };

/// What it asks for.
struct CommandLine {
    std::string m_ConfigFile;
    std::string m_ReadyFile;
    std::optional<std::string> m_ListenAddress;
    std::optional<int> m_ListenPort;
    std::optional<std::string> m_Migrate;  // the database to bring to this version, instead of serving
};

/// The one description of the options: --help, manual page and completions come from it.
/// \p line must live as long as \p app.
void Describe(CLI::App& app, CommandLine& line);

/// \return the exit code when nothing is left to do: after --help or --version, or for a bad command line.
std::optional<int> Parse(int nArgs, char** pArgs, CommandLine& line);

}  // namespace northbound
