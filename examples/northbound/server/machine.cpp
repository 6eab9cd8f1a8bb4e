#include "machine.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <bitset>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <utility>

#include "failure.h"
#include "names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "machine";

std::string HostName()
{
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof(name) - 1) != 0 || name[0] == '\0') return "localhost";
    return name;
}

/// What getifaddrs() tells about one interface.
struct Link {
    bool m_bUp = false;
    std::vector<std::string> m_Addresses;
};

template <class Address>
int PrefixLength(const Address& mask)
{
    unsigned char bytes[sizeof(Address)];
    std::memcpy(bytes, &mask, sizeof(bytes));
    std::size_t nBits = 0;
    for (const unsigned char byte : bytes) nBits += std::bitset<CHAR_BIT>(byte).count();
    return static_cast<int>(nBits);
}

/// "192.0.2.1/24", or "" for an address that is no internet address.
std::string AddressText(const sockaddr* pAddress, const sockaddr* pMask)
{
    if (pAddress == nullptr) return "";
    char text[INET6_ADDRSTRLEN] = {};
    int nPrefix = 0;
    if (pAddress->sa_family == AF_INET) {
        sockaddr_in address{};
        sockaddr_in mask{};
        std::memcpy(&address, pAddress, sizeof(address));
        if (pMask != nullptr) std::memcpy(&mask, pMask, sizeof(mask));
        inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
        nPrefix = PrefixLength(mask.sin_addr);
    } else if (pAddress->sa_family == AF_INET6) {
        sockaddr_in6 address{};
        sockaddr_in6 mask{};
        std::memcpy(&address, pAddress, sizeof(address));
        if (pMask != nullptr) std::memcpy(&mask, pMask, sizeof(mask));
        inet_ntop(AF_INET6, &address.sin6_addr, text, sizeof(text));
        nPrefix = PrefixLength(mask.sin6_addr);
    } else {
        return "";
    }
    return std::string(text) + "/" + std::to_string(nPrefix);
}

std::map<std::string, Link> ReadLinks()
{
    ifaddrs* pFirst = nullptr;
    if (getifaddrs(&pFirst) != 0) {
        Fail(ErrCode::NO_FIGURES, MODULE,
             std::string("the addresses cannot be read: ") + std::strerror(errno));
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(pFirst, freeifaddrs);
    std::map<std::string, Link> links;
    for (const ifaddrs* p = pFirst; p != nullptr; p = p->ifa_next) {
        Link& link = links[p->ifa_name];
        link.m_bUp = (p->ifa_flags & IFF_UP) != 0 && (p->ifa_flags & IFF_RUNNING) != 0;
        const std::string text = AddressText(p->ifa_addr, p->ifa_netmask);
        if (!text.empty()) link.m_Addresses.push_back(text);
    }
    return links;
}

/// Loopback and tunnels call their state "unknown"; their flags know better.
std::string StateOf(const std::string& operState, const Link& link)
{
    if (!operState.empty() && operState != "unknown") return operState;
    return link.m_bUp ? "up" : "down";
}

/// One line of the kernel's table: "name: 8 figures of what came in, 8 of what went out".
bool ParseLine(const std::string& line, std::string& name, PortCounters& counters)
{
    const std::size_t nColon = line.rfind(':');
    const std::size_t nStart = line.find_first_not_of(' ');
    if (nColon == std::string::npos || nStart >= nColon) return false;
    name = line.substr(nStart, nColon - nStart);
    std::istringstream figures(line.substr(nColon + 1));
    std::uint64_t nFifo = 0;
    std::uint64_t nFrame = 0;
    std::uint64_t nCompressed = 0;
    std::uint64_t nMulticast = 0;
    figures >> counters.m_nRxBytes >> counters.m_nRxPackets >> counters.m_nRxErrors >>
        counters.m_nRxDropped >> nFifo >> nFrame >> nCompressed >> nMulticast >> counters.m_nTxBytes >>
        counters.m_nTxPackets >> counters.m_nTxErrors >> counters.m_nTxDropped;
    return !figures.fail();
}

int ToNumber(const std::string& text, int nFallback)
{
    char* pEnd = nullptr;
    const long nValue = std::strtol(text.c_str(), &pEnd, 10);
    if (pEnd == text.c_str() || nValue < INT_MIN || nValue > INT_MAX) return nFallback;
    return static_cast<int>(nValue);
}

}  // namespace

PortCounters Increase(const PortCounters& first, const PortCounters& last)
{
    PortCounters result;
    result.m_nRxBytes = last.m_nRxBytes - first.m_nRxBytes;
    result.m_nRxPackets = last.m_nRxPackets - first.m_nRxPackets;
    result.m_nRxErrors = last.m_nRxErrors - first.m_nRxErrors;
    result.m_nRxDropped = last.m_nRxDropped - first.m_nRxDropped;
    result.m_nTxBytes = last.m_nTxBytes - first.m_nTxBytes;
    result.m_nTxPackets = last.m_nTxPackets - first.m_nTxPackets;
    result.m_nTxErrors = last.m_nTxErrors - first.m_nTxErrors;
    result.m_nTxDropped = last.m_nTxDropped - first.m_nTxDropped;
    return result;
}

Machine::Machine(std::string procNetDev, std::string sysClassNet)
    : m_ProcNetDev(std::move(procNetDev)), m_SysClassNet(std::move(sysClassNet)), m_HostName(HostName())
{
}

std::string Machine::DistinguishedName(const std::string& port) const
{
    return "ne=" + m_HostName + ",port=" + port;
}

std::string Machine::PortOf(const std::string& dn) const
{
    const std::string prefix = DistinguishedName("");
    if (dn.compare(0, prefix.size(), prefix) == 0) {
        std::string port = dn.substr(prefix.size());
        if (ReadTable().count(port) != 0) return port;
    }
    Fail(ErrCode::UNKNOWN_OBJECT, MODULE, "there is no managed object \"" + dn + "\"");
}

std::vector<PortFacts> Machine::Inventory() const
{
    std::map<std::string, Link> links = ReadLinks();
    std::vector<PortFacts> ports;
    for (const auto& [name, counters] : ReadTable()) {
        PortFacts port;
        port.m_Name = name;
        port.m_State = StateOf(Attribute(name, "operstate"), links[name]);
        port.m_HardwareAddress = Attribute(name, "address");
        port.m_Addresses = links[name].m_Addresses;
        port.m_nMtu = static_cast<unsigned int>(ToNumber(Attribute(name, "mtu"), 0));
        port.m_nSpeed = ToNumber(Attribute(name, "speed"), -1);
        port.m_Counters = counters;
        ports.push_back(std::move(port));
    }
    return ports;
}

PortCounters Machine::Counters(const std::string& port) const
{
    const std::map<std::string, PortCounters> table = ReadTable();
    const auto found = table.find(port);
    if (found == table.end()) {
        Fail(ErrCode::UNKNOWN_OBJECT, MODULE,
             "there is no managed object \"" + DistinguishedName(port) + "\"");
    }
    return found->second;
}

std::map<std::string, PortCounters> Machine::ReadTable() const
{
    std::ifstream file(m_ProcNetDev);
    if (!file) {
        Fail(ErrCode::NO_FIGURES, MODULE, m_ProcNetDev + " cannot be read: " + std::strerror(errno));
    }
    std::map<std::string, PortCounters> table;
    std::string line;
    while (std::getline(file, line)) {
        std::string name;
        PortCounters counters;
        if (ParseLine(line, name, counters)) table[name] = counters;
    }
    return table;
}

/// One line of what the kernel tells about a port beside its counters; "" where it tells nothing.
std::string Machine::Attribute(const std::string& port, const char* pName) const
{
    std::ifstream file(m_SysClassNet + "/" + port + "/" + pName);
    std::string text;
    std::getline(file, text);
    return text;
}

}  // namespace northbound
