/// \file
/// What each subcommand of the client does. The results are exit codes; Northbound::OperationFailed and
/// CORBA::SystemException go through.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "client/commands/report.h"
#include "client/corba/session.h"

namespace northbound {

struct CollectOptions {
    std::vector<std::string> m_Ports;
    double m_Interval = 1;   // seconds
    double m_Duration = 10;  // seconds
    bool m_bQuiet = false;
    std::string m_PackMethod;        // "": not at all
    unsigned int m_nPerArchive = 0;  // 0: as many as there are ports
};

struct PackOptions {
    std::string m_Method = "tar";
    unsigned int m_nPerArchive = 1000;
};

struct ConfigOptions {
    std::string m_Key;
    std::string m_Value;
};

struct PlotOptions {
    std::string m_File;
    std::vector<std::string> m_Figures;  // none: those of the file's first unit
    std::string m_Picture;               // "": on the terminal
    bool m_bDark = false;
    bool m_bValues = false;  // as they were read, and not how they grew
};

struct TasksOptions {
    bool m_bWatch = false;
    unsigned int m_nAtLeast = 0;
};

int ShowInventory(const Session& session, const OutputOptions& output);
int ShowCounters(const Session& session, const OutputOptions& output, const std::string& port);

/// One collection per port, side by side, with a progress display while they run; then the packing of the
/// files, if it is asked for and a collection has made one.
int RunCollections(const Session& session, const OutputOptions& output, const CollectOptions& options);

/// The servers that share a book, and the orders that have not ended; of a server that is alone its own orders.
int ShowCluster(const Session& session, const OutputOptions& output);

/// Ends the collection with this operation UUID.
int CancelCollection(const Session& session, const OutputOptions& output, const std::string& operation);

/// What collections and packings have left on the server.
int ShowFiles(const Session& session, const OutputOptions& output);

/// Packs the files of finished collections that wait on the server.
int PackFiles(const Session& session, const OutputOptions& output, const PackOptions& options);

/// Has the server remove the files that it keeps no longer.
int CleanFiles(const Session& session, const OutputOptions& output);

/// Changes an item of the server's configuration file.
int SetItem(const Session& session, const OutputOptions& output, const ConfigOptions& options);

/// The running huge tasks, once there are m_nAtLeast of them; EXIT_REFUSED when that takes longer than the
/// timeout. With m_bWatch: their progress until none is left.
int ShowTasks(const Session& session, const OutputOptions& output, const TasksOptions& options);

/// What the server's pools do now.
int ShowPools(const Session& session, const OutputOptions& output);

/// The same on one screen that is drawn anew each second, with the running collections, until the user presses q.
/// Where there is no terminal, ShowPools().
int WatchPools(const Session& session, const OutputOptions& output);

/// Looks at the pools twice and says in words what looks wrong.
/// \return EXIT_REFUSED when something does, for scripts
int Diagnose(const Session& session, const OutputOptions& output);

/// Draws a collection's figures over time. Needs no server.
/// \param patience for who draws the picture
int PlotCollection(const OutputOptions& output, const PlotOptions& options,
                   std::chrono::milliseconds patience);

/// Returns once the server is gone; EXIT_REFUSED when that takes longer than the timeout.
int StopServer(const Session& session, const OutputOptions& output);

/// The reason of \p nCode from the catalogue; EXIT_REFUSED when it has none. Needs no server.
int ShowReason(const OutputOptions& output, unsigned int nCode);

}  // namespace northbound
