/// \file
/// What each subcommand of the client does. The results are exit codes.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "session.h"

namespace northbound {

enum ExitCode { EXIT_DONE = 0, EXIT_REFUSED = 1, EXIT_BAD_USAGE = 2, EXIT_NO_SERVER = 3 };

/// How every subcommand speaks.
struct Manner {
    bool m_bJson = false;
    std::string m_Server;
    double m_Timeout = 30;  // seconds
};

struct CollectOptions {
    std::vector<std::string> m_Ports;
    double m_Interval = 1;   // seconds
    double m_Duration = 10;  // seconds
    bool m_bQuiet = false;
    std::string m_PackMethod;        // "": not at all
    unsigned int m_nPerArchive = 0;  // 0: as many as there are ports
};

struct ConfigOptions {
    std::string m_Key;
    std::string m_Value;
};

struct TasksOptions {
    bool m_bWatch = false;
    unsigned int m_nAtLeast = 0;
};

/// These let Northbound::OperationFailed and CORBA::SystemException through.
int ShowInventory(const Session& session, const Manner& manner);
int ShowCounters(const Session& session, const Manner& manner, const std::string& port);

/// One collection per port, side by side, with a progress display while they run; then the packing of the
/// files, if it is asked for and a collection has made one.
int RunCollections(const Session& session, const Manner& manner, const CollectOptions& options);

/// Changes an item of the server's configuration file.
int SetItem(const Session& session, const Manner& manner, const ConfigOptions& options);

/// The running huge tasks, once there are m_nAtLeast of them; EXIT_REFUSED when that takes longer than the
/// timeout. With m_bWatch: their progress until none is left.
int ShowTasks(const Session& session, const Manner& manner, const TasksOptions& options);

/// Returns once the server is gone; EXIT_REFUSED when that takes longer than the timeout.
int StopServer(const Session& session, const Manner& manner);

/// The reason of \p nCode from the catalogue; EXIT_REFUSED when it has none. Needs no server.
int ShowReason(const Manner& manner, unsigned int nCode);

/// What the user gave cannot be read; what() is one line that names it.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

int ReportInputError(const Manner& manner, const InputError& error);
int ReportRefusal(const Manner& manner, const Northbound::OperationFailed& failure);
int ReportNoServer(const Manner& manner, const CORBA::SystemException& failure);

}  // namespace northbound
