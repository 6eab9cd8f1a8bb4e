/// \file
/// How a subcommand speaks and ends.
#pragma once

#include <string>

#include "client/commands/failure.h"

namespace northbound {

/// How every subcommand prints.
struct OutputOptions {
    bool m_bJson = false;
};

/// Says that something is done.
/// \param json for programs, \p text for people: a line on standard output either way
int ReportDone(const OutputOptions& output, const std::string& json, const std::string& text);

/// Tells programs on standard output, people on standard error.
/// \return the failure's exit code
int ReportFailure(const OutputOptions& output, const Failure& failure);

/// Whether all that was printed has arrived; standard error tells of what has not.
/// \param nExitCode that of the command
/// \return \p nExitCode, or EXIT_REFUSED for a command that was done and could not say it
int AfterOutput(int nExitCode);

}  // namespace northbound
