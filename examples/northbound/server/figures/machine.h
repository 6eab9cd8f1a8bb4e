/// \file
/// The managed network element: the machine that the server runs on, as the kernel shows it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "server/figures/kerneltables.h"

namespace northbound {

struct PortFacts {
    std::string m_Name;
    std::string m_State;                   // "up", "down" or what else the kernel calls it
    std::string m_HardwareAddress;         // empty where there is none
    std::vector<std::string> m_Addresses;  // with prefix length, "192.0.2.1/24"
    unsigned int m_nMtu = 0;               // bytes
    int m_nSpeed = -1;                     // Mbit/s; -1 where the kernel does not know
};

/// What the kernel tells of an interface by its socket interface.
struct Link {
    bool m_bUp = false;
    std::vector<std::string> m_Addresses;  // see PortFacts
};
using Links = std::map<std::string, Link>;  // by name

/// The machine's network interfaces, called ports here, named by distinguished names
/// "ne=<name>,port=<interface>", both as SafeName() has them. What is read is never older than the call, or the instant that it names.
/// Threads: any.
class Machine {
public:
    using Clock = KernelTables::Clock;

    /// \param procNetDev   the kernel's table with a line per interface
    /// \param sysClassNet  where it shows more about each
    /// \param names        of the network element; the first stands in distinguished names that are made here.
    ///                     Without one it is called like the machine
    explicit Machine(std::string procNetDev = "/proc/net/dev", std::string sysClassNet = "/sys/class/net",
                     std::vector<std::string> names = {});

    /// The kernel's tables, for whoever reads figures of the same instant.
    KernelTables& Tables() const { return *m_pTables; }

    std::string DistinguishedName(const std::string& port) const;

    /// Whether \p dn begins with one of the element's names.
    bool IsOwn(const std::string& dn) const;

    /// The port that \p name names: its distinguished name, or its name alone.
    /// \throws ProcessException UNKNOWN_OBJECT when this machine has no such port now, NO_FIGURES as below.
    std::string PortOf(const std::string& name) const;

    /// At most \p nMost names of ports behind \p after, in their order; all begin behind "".
    /// \throws ProcessException NO_FIGURES when the kernel's table cannot be read.
    std::vector<std::string> Ports(const std::string& after, std::size_t nMost,
                                   Clock::time_point instant = Clock::now()) const;

    /// Of all ports, since the kernel tells them at once.
    /// \throws ProcessException NO_FIGURES when it does not.
    static Links ReadLinks();

    PortFacts Facts(const std::string& port, const Links& links) const;

    /// \throws ProcessException UNKNOWN_OBJECT when the port has gone, NO_FIGURES as above.
    void Require(const std::string& port, Clock::time_point instant = Clock::now()) const;

private:
    std::shared_ptr<const KernelTable> ReadTable(Clock::time_point instant) const;
    std::string Attribute(const std::string& port, const char* pName) const;

    std::string m_ProcNetDev;
    std::string m_SysClassNet;
    std::vector<std::string> m_Starts;  // of distinguished names; at least one
    std::shared_ptr<KernelTables> m_pTables;
};

}  // namespace northbound
