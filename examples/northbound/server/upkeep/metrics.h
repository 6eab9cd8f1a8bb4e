/// \file
/// The server's figures for Prometheus.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "nbiutil/poolsnapshot.h"
#include "server/upkeep/metricsplaces.h"
#include "server/upkeep/socketclaim.h"
#include "shared/descriptor.h"

namespace northbound {

/// All figures in the text exposition format, version 0.0.4. Names, types and help texts stay as they are: dashboards
/// and alarms go by them.
std::string MetricsText(const std::vector<NS_UTIL::PoolSnapshot>& pools,
                        const NS_UTIL::ProcessSnapshot& process, unsigned long nLinesLost);

/// Where scrapers find them: in a file of node_exporter's textfile folder, on a Unix socket for the server's own user, and
/// on a port of the loopback interface for every user of the machine. Threads: one.
class Metrics {
public:
    static constexpr std::size_t LONGEST_REQUEST = 4096;  // bytes

    /// \param text  makes the figures
    /// \param group whose members may enter the socket's folder, see SocketClaim; the socket is closed to them
    /// \throws SocketError when there can be no such socket, or the port is taken
    Metrics(MetricsPlaces places, std::function<std::string()> text, const std::string& group = "");
    ~Metrics();
    Metrics(const Metrics&) = delete;
    Metrics& operator=(const Metrics&) = delete;

    /// Readable when somebody asks there; -1 for a place that is left out.
    std::array<int, 2> Descriptors() const { return {m_Socket.Number(), m_Port.Number()}; }
    bool HasFile() const { return !m_Places.m_File.empty(); }

    /// Answers one of those who ask at \p nDescriptor. GET alone is answered with the figures; whoever sends more than
    /// LONGEST_REQUEST, or takes longer than a second in all, gets nothing.
    void Answer(int nDescriptor) const;

    /// Puts the figures into the file, by a draft that takes its place: nobody reads half of them. One that cannot be
    /// written is logged, the first time.
    void WriteFile();

private:
    const MetricsPlaces m_Places;
    const SocketClaim m_Claim;
    const std::function<std::string()> m_Text;
    const Descriptor m_Port;
    const Descriptor m_Socket;  // last: where the port is taken, none is left behind
    bool m_bFailed = false;
};

}  // namespace northbound
