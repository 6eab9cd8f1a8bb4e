/// \file
/// Whether the server is well, as the service manager hears it.
#pragma once

#include <string>
#include <vector>

#include "nbiutil/poolsnapshot.h"
#include "server/serving/servicemanager.h"

namespace northbound {

/// What the pools are doing in one line for people, and whether one of them hangs: a task that may start has waited for
/// longer than \p patience while one of its workers is asleep. Bodies that take hours and tasks that a limit keeps
/// waiting are no reason to end a server; the line tells of them.
struct Health {
    std::string m_Status;  // "" when there are no pools
    bool m_bHangs = false;
};
Health HealthOf(const std::vector<NS_UTIL::PoolSnapshot>& pools, std::chrono::nanoseconds patience);

/// Beats while the server is well. Without beats the manager takes it for hung, and starts it anew.
/// Threads: one.
class Heartbeat {
public:
    explicit Heartbeat(const ServiceManager& manager) : m_Manager(manager) {}

    /// Tells the status when it has changed, and "WATCHDOG=1" unless a pool hangs.
    void Beat(const std::vector<NS_UTIL::PoolSnapshot>& pools);

private:
    const ServiceManager& m_Manager;
    std::string m_Told;
};

}  // namespace northbound
