/// \file
/// The standalone host: everything that the library imports from its host process, for a program that has no
/// service framework of its own.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "nbihost/api.h"

namespace nbihost {

/// The host cannot run as it was told to. what() is one line that names the file and, where there is one, the
/// key: "server.ini: [host] log_rotate_bytes: \"10x\" is not a whole number from 1 to 1099511627776".
class NBIHOST_API HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~HostError() override;
};

/// The scale of LogSvcInterface::LogV's level in this host. Numbers outside it count as the nearest end.
enum LogLevel { LOG_LEVEL_DEBUG = 0, LOG_LEVEL_INFO = 1, LOG_LEVEL_WARNING = 2, LOG_LEVEL_ERROR = 3 };

/// What the operations of tavoAESCipher answer in this host. The log line of a key that cannot be enciphered
/// shows the number.
enum CipherResult {
    CIPHER_DONE = 0,
    CIPHER_FAILED = 1,     // the text is none of this process and selector, or OpenSSL does not work
    CIPHER_NO_RANDOM = 2,  // no random bytes for a key or a nonce; the next call tries again
    CIPHER_NO_MEMORY = 3,
    CIPHER_TOO_LONG = 4,     // more than 64 MiB of plain text
    CIPHER_KEY_USED_UP = 5,  // 2^32 texts have been enciphered; there is no other key until the process ends
};

/// What the program adds. Both may be left empty.
struct HostHooks {
    /// Appends a prefix to \p line, which is a log line in the making. Called on the thread that logs, for
    /// every line, before its text; a line that the callback logs itself has no prefix. What it throws is
    /// dropped, and the prefix with it.
    std::function<void(std::string& line)> m_LogPrefix;

    /// Shuts the program's own work down, the pools included. Called once per start, by Stop(), while the
    /// framework's state is FRAMEWORK_STOPPING and log lines are still written. What it throws is logged.
    std::function<void()> m_OnStop;
};

/// One configuration item, as it is written.
struct ConfigItem {
    std::string m_Name;
    std::string m_Value;
    std::string m_File;  ///< where it stands: the configuration file, or the items file
};

/// The host of this process, set up from a configuration file:
///
///     [host]
///     # Required: what GetTAVOEnvironment() answers, an existing directory. Reason files lie beside it, under
///     # ../etc/nbires; the library's own reasons are installed with it and used where
///     # ../nbi/corba/res/staticdata has none.
///     root = /opt/nbi/lib
///     # Items that take the place of those below, for a program that changes items while this file is
///     # read-only. The file may be missing; it has no section [host]. Without this key there is none.
///     items_file = /var/lib/nbi/items.ini
///     # Without this key there is no log file.
///     log_file = /var/log/nbi/nbi.log
///     # A line that would make the file longer than this starts a new one; the old ones stay as nbi.log.1
///     # (the youngest) and so on.
///     log_rotate_bytes = 10485760
///     log_rotate_files = 5
///     # yes or no
///     log_stderr = yes
///     # debug, info, warning, error or off; the library's own lines are info.
///     log_level = info
///     # Lines that are of level debug, whatever level they come with, as they stand in the log: module:line,
///     # up to 100 of them with commas in between. Without this key there is none.
///     log_as_debug = nbitaskmgr:251
///
///     [items]
///     # What CorbaConfigItems serves.
///     TaskMgrMaxThreadNum = 20
///
/// The other figures and words above are the defaults of the log's keys. A comment stands on a line of its own: ";"
/// and "#" in a value belong to the value. Relative paths start at the configuration file's directory. Every
/// section but [host] holds items; its name is for the reader only. What looks like a mistake is refused: a
/// line that is no section, no comment and not "key = value", a key outside of every section, an unknown or
/// misplaced key of [host], a key given twice, a value out of range.
///
/// What the host serves is the process's: one object at a time may be started, and a later one replaces the
/// configuration of an earlier one. After Stop() configuration, cipher and framework go on answering, since
/// threads that end late may still ask; the state stays FRAMEWORK_STOPPING, so that nobody begins a wait that
/// no one would end, and log lines go nowhere.
/// Threads: any, also on one object.
class NBIHOST_API Host {
public:
    /// Reads the configuration.
    /// \throws HostError when it does not load.
    explicit Host(std::string configFile, HostHooks hooks = {});

    /// Stops.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Puts the configuration in force, opens the log, registers the log service under "LogSvcInterface" and
    /// sets the framework's state to running. Does nothing when started.
    /// \throws HostError when the log cannot be opened or another Host is started; nothing has changed then.
    void Start();

    /// Sets the framework's state to FRAMEWORK_STOPPING, calls HostHooks::m_OnStop, takes the log service
    /// away, reports lines that could not be written, and closes the log. Does nothing when stopped. A second
    /// thread waits until the first is done; a call from within m_OnStop returns at once.
    void Stop() noexcept;

    /// Reads the configuration file and the items file again and puts it in force, the log's options included. The log
    /// file is opened anew, so that one that was moved away is followed by a new one.
    /// \throws HostError when it does not load; everything is as before then.
    void Reload();

    bool IsStarted() const;

    /// The configuration file's path, as given.
    const std::string& ConfigFile() const;

    /// Where an item that the program changes belongs: the key items_file, or the configuration file.
    std::string ItemsFile() const;

    /// The log file's path, absolute or from the configuration file's directory; "" without one. Two processes that write
    /// one log rename it under each other: a program that is started twice keeps the second one away from it.
    std::string LogFile() const;

    /// All configuration items, by name, for a program that knows which there should be.
    std::vector<ConfigItem> Items() const;

    /// Log lines that could not be written since Start() and have not been reported in the log yet.
    unsigned long LinesLost() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

/// Writes one line of the program's own to the log, formatted like printf; without a started host: nothing.
/// \param pModule names the part of the program, as the library's lines name theirs.
NBIHOST_API void Log(LogLevel level, const char* pModule, const char* pFormat, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace nbihost
