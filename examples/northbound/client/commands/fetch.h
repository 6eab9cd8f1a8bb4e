/// \file
/// The parts of a collection as one file.
#pragma once

#include <string>

#include "client/commands/report.h"
#include "client/corba/session.h"

namespace northbound {

struct FetchOptions {
    std::string m_Operation;
    std::string m_File;  // "": "<operation>.csv"
};

/// Brings each part from the server that has it, or another one that can read it, and joins them to a file that has its name
/// only when it is whole. What was brought stays beside it until then, so that the same command goes on with the rest.
/// \return EXIT_INCOMPLETE when nobody has given a part
/// \throws InputError when the file cannot be written, or another client is at it
int FetchCollection(const Session& session, const OutputOptions& output, const FetchOptions& options);

}  // namespace northbound
