/// \file
/// How a subcommand speaks and ends, and what it says when it fails.
#pragma once

#include <stdexcept>
#include <string>

#include "northbound.hh"

namespace northbound {

enum ExitCode { EXIT_DONE = 0, EXIT_REFUSED = 1, EXIT_BAD_USAGE = 2, EXIT_NO_SERVER = 3 };

/// How every subcommand prints.
struct OutputOptions {
    bool m_bJson = false;
};

/// What the user gave cannot be read; what() is one line that names it.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// \param json for programs, on standard output; \p text is for people, on standard error
/// \return \p nExitCode
int ReportFailure(const OutputOptions& output, const std::string& json, const std::string& text,
                  int nExitCode);

/// A wait was longer than the timeout.
int ReportTooLate(const OutputOptions& output, const std::string& text);
int ReportInputError(const OutputOptions& output, const InputError& error);
int ReportRefusal(const OutputOptions& output, const Northbound::OperationFailed& failure);
int ReportNoServer(const OutputOptions& output, const std::string& server,
                   const CORBA::SystemException& failure);

}  // namespace northbound
