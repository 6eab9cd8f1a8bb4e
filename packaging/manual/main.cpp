/// \file
/// Writes a manual page or a completion from the command line of the program that it is built for.
#include <fstream>
#include <iostream>
#include <stdexcept>

#include NBI_COMMAND_LINE
#include "writers.h"

namespace manual {
namespace {

/// The page at \p path with the lists in place of the lines that stand for them.
void WritePage(const std::string& path, const Program& program)
{
    std::ifstream page(path);
    if (!page) throw std::runtime_error(path + ": cannot be read");
    for (std::string line; std::getline(page, line);) {
        if (line == "@OPTIONS@") {
            std::cout << OptionsInMdoc(program);
        } else if (line == "@COMMANDS@") {
            std::cout << CommandsInMdoc(program);
        } else {
            std::cout << line << '\n';
        }
    }
}

void Write(const std::string& what)
{
    northbound::CommandLine line;
    const ProgramModel program = ModelOf([&line](CLI::App& app) { northbound::Describe(app, line); });
    if (what == "bash") {
        std::cout << BashCompletion(program.m_Name, program.m_Commands);
    } else if (what == "zsh") {
        std::cout << ZshCompletion(program.m_Name, program.m_Commands);
    } else {
        WritePage(what, program.m_Commands);
    }
    if (!std::cout.flush()) throw std::runtime_error("standard output cannot be written");
}

}  // namespace
}  // namespace manual

int main(int nArgs, char** pArgs)
{
    try {
        if (nArgs != 2) throw std::invalid_argument("usage: PROGRAM-manual bash|zsh|PAGE");
        manual::Write(pArgs[1]);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << pArgs[0] << ": " << e.what() << '\n';
        return 1;
    }
}
