/// \file
/// What is written from a command line.
#pragma once

#include <string>
#include <vector>

#include "commandlinemodel.h"

namespace manual {

using Program = std::vector<CommandModel>;

/// Lists for a manual page in mdoc: the options of the program itself, and its commands with theirs.
std::string OptionsInMdoc(const Program& program);
std::string CommandsInMdoc(const Program& program);

/// Completion of the program \p name.
std::string BashCompletion(const std::string& name, const Program& program);
std::string ZshCompletion(const std::string& name, const Program& program);

}  // namespace manual
