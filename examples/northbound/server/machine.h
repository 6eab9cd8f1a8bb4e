/// \file
/// The managed network element: the machine that the server runs on, as the kernel shows it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace northbound {

/// What a network interface has counted since the kernel made it.
struct PortCounters {
    std::uint64_t m_nRxBytes = 0;
    std::uint64_t m_nRxPackets = 0;
    std::uint64_t m_nRxErrors = 0;
    std::uint64_t m_nRxDropped = 0;
    std::uint64_t m_nTxBytes = 0;
    std::uint64_t m_nTxPackets = 0;
    std::uint64_t m_nTxErrors = 0;
    std::uint64_t m_nTxDropped = 0;
};

/// \p last minus \p first, counter by counter; modulo 2^64, so that a counter that ran over counts on.
PortCounters Increase(const PortCounters& first, const PortCounters& last);

struct PortFacts {
    std::string m_Name;
    std::string m_State;                   // "up", "down" or what else the kernel calls it
    std::string m_HardwareAddress;         // empty where there is none
    std::vector<std::string> m_Addresses;  // with prefix length, "192.0.2.1/24"
    unsigned int m_nMtu = 0;               // bytes
    int m_nSpeed = -1;                     // Mbit/s; -1 where the kernel does not know
    PortCounters m_Counters;
};

/// The machine's network interfaces, called ports here, named by distinguished names
/// "ne=<host>,port=<interface>". Everything is read anew at each call.
/// Threads: any.
class Machine {
public:
    /// \param procNetDev, sysClassNet  where the kernel shows the counters and the interfaces
    explicit Machine(std::string procNetDev = "/proc/net/dev", std::string sysClassNet = "/sys/class/net");

    std::string DistinguishedName(const std::string& port) const;

    /// The port that \p dn names.
    /// \throws ProcessException UNKNOWN_OBJECT when this machine has no such port now, NO_FIGURES as below.
    std::string PortOf(const std::string& dn) const;

    /// All ports, by name.
    /// \throws ProcessException NO_FIGURES when the kernel's table cannot be read.
    std::vector<PortFacts> Inventory() const;

    /// \throws ProcessException UNKNOWN_OBJECT when the port has gone, NO_FIGURES as above.
    PortCounters Counters(const std::string& port) const;

private:
    std::map<std::string, PortCounters> ReadTable() const;
    std::string Attribute(const std::string& port, const char* pName) const;

    std::string m_ProcNetDev;
    std::string m_SysClassNet;
    std::string m_HostName;
};

}  // namespace northbound
