/// \file
/// The managed network element: the machine that the server runs on, as the kernel shows it.
#pragma once

#include <string>
#include <vector>

#include "server/figures/kerneltable.h"

namespace northbound {

struct PortFacts {
    std::string m_Name;
    std::string m_State;                   // "up", "down" or what else the kernel calls it
    std::string m_HardwareAddress;         // empty where there is none
    std::vector<std::string> m_Addresses;  // with prefix length, "192.0.2.1/24"
    unsigned int m_nMtu = 0;               // bytes
    int m_nSpeed = -1;                     // Mbit/s; -1 where the kernel does not know
};

/// The machine's network interfaces, called ports here, named by distinguished names
/// "ne=<host>,port=<interface>". Everything is read anew at each call.
/// Threads: any.
class Machine {
public:
    /// \param procNetDev   the kernel's table with a line per interface
    /// \param sysClassNet  where it shows more about each
    explicit Machine(std::string procNetDev = "/proc/net/dev", std::string sysClassNet = "/sys/class/net");

    std::string DistinguishedName(const std::string& port) const;

    /// The port that \p dn names.
    /// \throws ProcessException UNKNOWN_OBJECT when this machine has no such port now, NO_FIGURES as below.
    std::string PortOf(const std::string& dn) const;

    /// All ports, by name.
    /// \throws ProcessException NO_FIGURES when the kernel's table cannot be read.
    std::vector<PortFacts> Inventory() const;

    /// \throws ProcessException UNKNOWN_OBJECT when the port has gone, NO_FIGURES as above.
    void Require(const std::string& port) const;

private:
    KernelTable ReadTable() const;
    std::string Attribute(const std::string& port, const char* pName) const;

    std::string m_ProcNetDev;
    std::string m_SysClassNet;
    std::string m_HostName;
};

}  // namespace northbound
