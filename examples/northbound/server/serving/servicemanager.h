/// \file
/// What the server tells the service manager that has started it.
#pragma once

#include <chrono>
#include <string>

namespace northbound {

/// Sends states to the socket that $NOTIFY_SOCKET names, in the words that systemd reads. Without one, nothing is
/// sent. A state that does not arrive costs one log line: the manager acts by its own time limits then.
/// Threads: any.
class ServiceManager {
public:
    /// Reads the environment and takes from it what programs that the server starts must not have; so it is
    /// made before there are other threads.
    ServiceManager();

    void Tell(const std::string& state) const;
    /// A reload is under way; "READY=1" ends it.
    void TellReloading() const;

    /// How often to tell "WATCHDOG=1": twice in the time after which the manager takes the server for hung.
    /// \return zero when nobody waits for it.
    std::chrono::microseconds BeatInterval() const { return m_BeatInterval; }

private:
    const std::string m_Socket;
    const std::chrono::microseconds m_BeatInterval;
};

}  // namespace northbound
