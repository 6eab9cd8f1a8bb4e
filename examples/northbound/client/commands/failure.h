/// \file
/// Why a command failed, as people and programs are told.
#pragma once

#include <optional>
#include <string>

#include "client/commands/inputerror.h"
#include "client/corba/session.h"
#include "northbound.hh"

namespace northbound {

enum ExitCode {
    EXIT_DONE = 0,
    EXIT_REFUSED = 1,
    EXIT_BAD_USAGE = 2,
    EXIT_NO_SERVER = 3,
    EXIT_INCOMPLETE = 4
};

struct Failure {
    const char* m_pKind = "";  // for programs: one of those that the guide lists
    ExitCode m_nExitCode = EXIT_REFUSED;
    std::string m_Detail;                 // what has happened
    std::optional<unsigned int> m_nCode;  // of the server's codes
    std::string m_Server;                 // whom the command asked last; "" for nobody
    bool m_bTellServer = false;           // to people, too: it is one of several
};

Failure RefusedBy(const Session& session, const Northbound::OperationFailed& refusal);
/// A request that is too long, and never left for the server, is bad input.
Failure NoAnswerFrom(const std::string& server, const CORBA::SystemException& failure);
/// A wait was longer than the timeout.
Failure TooLate(const Session& session, const std::string& detail);

/// The failure that the exception being handled is; only inside a catch clause.
Failure CurrentFailure(const Session& session);
/// The same without a session.
/// \param server whom the command would have asked; "" for nobody
Failure CurrentFailure(const std::string& server);

/// {"kind":...,"exit":...,"code":...,"hex":"0x...","detail":...,"reason":...,"server":...}; code and hex are null when
/// there is no code, reason and server "" when there is none.
std::string ErrorJson(const Failure& failure);
/// {"error":{...}}
std::string ToJson(const Failure& failure);

/// "failed with code 0x4118000A: <detail>", and lines "  reason: <reason>" and "  server: <address>" where there is
/// something to tell; the detail alone when there is no code.
std::string ToText(const Failure& failure);

}  // namespace northbound
