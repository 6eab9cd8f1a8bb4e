#include "server/figures/machine.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <utility>

#include "server/serving/failure.h"
#include "server/serving/hostname.h"
#include "server/serving/safename.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "machine";

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

/// Loopback and tunnels call their state "unknown"; their flags know better.
std::string StateOf(const std::string& operState, const Link& link)
{
    if (!operState.empty() && operState != "unknown") return operState;
    return link.m_bUp ? "up" : "down";
}

int ToNumber(const std::string& text, int nFallback)
{
    char* pEnd = nullptr;
    const long nValue = std::strtol(text.c_str(), &pEnd, 10);
    if (pEnd == text.c_str() || nValue < INT_MIN || nValue > INT_MAX) return nFallback;
    return static_cast<int>(nValue);
}

}  // namespace

Machine::Machine(std::string procNetDev, std::string sysClassNet, std::vector<std::string> names)
    : m_ProcNetDev(std::move(procNetDev)),
      m_SysClassNet(std::move(sysClassNet)),
      m_pTables(std::make_shared<KernelTables>())
{
    if (names.empty()) names.push_back(HostName());
    m_Starts.reserve(names.size());
    for (const std::string& name : names) m_Starts.push_back("ne=" + SafeName(name) + ",port=");
}

std::string Machine::DistinguishedName(const std::string& port) const
{
    return m_Starts.front() + SafeName(port);
}

bool Machine::IsOwn(const std::string& dn) const
{
    return std::any_of(m_Starts.begin(), m_Starts.end(),
                       [&dn](const std::string& start) { return dn.compare(0, start.size(), start) == 0; });
}

std::string Machine::PortOf(const std::string& name) const
{
    const std::shared_ptr<const KernelTable> pTable = ReadTable(Clock::now());
    for (const std::string& start : m_Starts) {
        if (name.compare(0, start.size(), start) != 0) continue;
        const std::string port = PlainName(name.substr(start.size()));
        if (pTable->Has(port)) return port;
    }
    if (pTable->Has(name)) return name;
    ThrowFailure(ErrCode::UNKNOWN_OBJECT, MODULE, "there is no managed object \"" + name + "\"");
}

std::vector<std::string> Machine::Ports(const std::string& after, std::size_t nMost,
                                        Clock::time_point instant) const
{
    return ReadTable(instant)->Names(after, nMost);
}

Links Machine::ReadLinks()
{
    ifaddrs* pFirst = nullptr;
    if (getifaddrs(&pFirst) != 0) {
        ThrowFailure(ErrCode::NO_FIGURES, MODULE,
                     std::string("the addresses cannot be read: ") + std::strerror(errno));
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(pFirst, freeifaddrs);
    Links links;
    for (const ifaddrs* p = pFirst; p != nullptr; p = p->ifa_next) {
        Link& link = links[p->ifa_name];
        link.m_bUp = (p->ifa_flags & IFF_UP) != 0 && (p->ifa_flags & IFF_RUNNING) != 0;
        const std::string text = AddressText(p->ifa_addr, p->ifa_netmask);
        if (!text.empty()) link.m_Addresses.push_back(text);
    }
    return links;
}

PortFacts Machine::Facts(const std::string& port, const Links& links) const
{
    const auto found = links.find(port);
    const Link link = found == links.end() ? Link() : found->second;
    return {port,
            StateOf(Attribute(port, "operstate"), link),
            Attribute(port, "address"),
            link.m_Addresses,
            static_cast<unsigned int>(ToNumber(Attribute(port, "mtu"), 0)),
            ToNumber(Attribute(port, "speed"), -1)};
}

void Machine::Require(const std::string& port, Clock::time_point instant) const
{
    if (ReadTable(instant)->Has(port)) return;
    ThrowFailure(ErrCode::UNKNOWN_OBJECT, MODULE,
                 "there is no managed object \"" + DistinguishedName(port) + "\"");
}

std::shared_ptr<const KernelTable> Machine::ReadTable(Clock::time_point instant) const
{
    TableReading reading = m_pTables->At(m_ProcNetDev, instant);
    if (!reading.m_pTable) {
        ThrowFailure(ErrCode::NO_FIGURES, MODULE,
                     m_ProcNetDev + " cannot be read: " + std::strerror(reading.m_nError));
    }
    return std::move(reading.m_pTable);
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
