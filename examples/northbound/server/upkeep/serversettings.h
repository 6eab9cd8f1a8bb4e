/// \file
/// What the server reads from its configuration file beside what the host does.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/serving/role.h"
#include "server/serving/usersessions.h"
#include "server/upkeep/collectionfiles.h"
#include "server/upkeep/metricsplaces.h"
#include "shared/tlsfiles.h"

namespace northbound {

/// The settings are not usable; what() is one line that names file and key.
class SettingsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct TcpAddress {
    std::string m_Host;
    int m_nPort = 0;  // 0: any free one
};

/// Where the server serves: without any of it on DefaultSocket().
struct Listening {
    std::optional<TcpAddress> m_Tcp;
    std::optional<TlsFiles> m_Tls;  // what is served by TCP is served by TLS alone
    std::string m_Socket;           // absolute path; "": none
    std::string m_SocketGroup;      // whose members are served there too; "": only the server's user
};

struct ConnectionLimits {
    std::size_t m_nMost = 1000;       // and no more than the process's descriptors, 64 less
    std::chrono::seconds m_Idle{60};  // without a request, or with half of one
};

/// A book of collections that several servers share.
struct BookPlace {
    std::string m_Connection;  // text for libpq; "": there is none, and the others mean nothing
    std::string m_Server;      // this server's name in it: letters, digits, ".", "_" and "-"
    std::string m_Address;     // where clients reach this server; "": where it serves
    std::vector<std::string>
        m_Elements;  // network elements that it reaches; the first is what it calls its own
    std::chrono::seconds m_Lease{6};
};

struct Settings {
    Listening m_Listening;
    ConnectionLimits m_Connections;
    Role m_Anonymous = Role::NONE;  // of callers from the network that have not logged in
    std::string m_CollectionDirectory;
    std::string m_OutputFile;
    MetricsPlaces m_Metrics;
    std::string m_DescriptionFile;
    std::string m_ElementRoot;  // the folder whose proc/net/dev and sys/class/net are the network element's
    int m_nHugeTaskLimit = 0;
    int m_nPerPortLimit = 0;
    SessionLimits m_Sessions;
    Retention m_Retention;
    BookPlace m_Book;
};

/// Reads the host's configuration items ListenAddress, ListenPort, ListenSocket, TlsCertificate, TlsKey, TlsAuthorities, MaxConnections, ConnectionIdle, Anonymous, CollectionDirectory,
/// OutputFile, DescriptionFile, ElementRoot, HugeTaskLimit, CollectionsPerPort, SessionIdle, SessionLife, PartDays, KeepDays, KeepMegabytes, Book, BookServer, BookAddress, BookLease and Elements. One of the first two asks for TCP; those that are not there have defaults, relative
/// paths start at the directory of \p configFile. The host must be started.
/// \throws SettingsError when a value is not what its key wants.
Settings ReadSettings(const std::string& configFile);

}  // namespace northbound
