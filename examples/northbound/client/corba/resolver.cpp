#include "client/corba/resolver.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include "client/texts/texts.h"

namespace northbound {
namespace {

constexpr std::size_t MOST_ADDRESSES = 8;

using AddressList = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

struct HostAndPort {
    std::string m_Host;
    std::string m_Port;  // with its colon
};

/// \return no host where \p text has a colon more, as an IPv6 address does
HostAndPort Split(const std::string& text)
{
    const std::size_t nColon = text.find(':');
    if (nColon == std::string::npos) return {text, ""};
    if (text.find(':', nColon + 1) != std::string::npos) return {};
    return {text.substr(0, nColon), text.substr(nColon)};
}

/// As the location of an object has it; "" for what has no place there, as the zone of a link's own address.
std::string TextOf(const addrinfo& address)
{
    char text[NI_MAXHOST];
    if (getnameinfo(address.ai_addr, address.ai_addrlen, text, sizeof(text), nullptr, 0, NI_NUMERICHOST) !=
            0 ||
        std::strchr(text, '%') != nullptr) {
        return "";
    }
    return address.ai_family == AF_INET6 ? "[" + std::string(text) + "]" : text;
}

/// What a search has found: addresses, or why there is none.
struct Finding {
    std::vector<std::string> m_Addresses;
    std::string m_Fault;
};

Finding LookUp(const std::string& host, int nFlags)
{
    addrinfo wanted{};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = nFlags;
    addrinfo* pFirst = nullptr;
    const int nError = getaddrinfo(host.c_str(), nullptr, &wanted, &pFirst);
    if (nError != 0) return {{}, nError == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(nError)};
    const AddressList list(pFirst, freeaddrinfo);
    Finding found;
    for (const addrinfo* p = pFirst; p != nullptr && found.m_Addresses.size() < MOST_ADDRESSES;
         p = p->ai_next) {
        std::string address = TextOf(*p);
        if (!address.empty()) found.m_Addresses.push_back(std::move(address));
    }
    if (found.m_Addresses.empty()) found.m_Fault = gai_strerror(EAI_NONAME);
    return found;
}

Finding LookUpWithin(const std::string& host, std::chrono::milliseconds limit)
{
    std::packaged_task<Finding()> search([host] { return LookUp(host, 0); });
    std::future<Finding> finding = search.get_future();
    std::thread(std::move(search)).detach();
    if (finding.wait_for(limit) == std::future_status::ready) return finding.get();
    return {{}, Say("no answer in time")};
}

}  // namespace

bool IsAddress(const std::string& hostAndPort)
{
    const std::string host = Split(hostAndPort).m_Host;
    return host.empty() || host.front() == '[' || !LookUp(host, AI_NUMERICHOST).m_Addresses.empty();
}

std::vector<std::string> PlacesBehind(const std::string& hostAndPort, std::chrono::milliseconds limit)
{
    if (IsAddress(hostAndPort)) return {hostAndPort};
    const HostAndPort parts = Split(hostAndPort);
    Finding found = LookUpWithin(parts.m_Host, limit);
    if (!found.m_Fault.empty()) {
        throw UnknownName(Say("the name {1} was not found: {2}", {parts.m_Host, found.m_Fault}));
    }
    for (std::string& address : found.m_Addresses) address += parts.m_Port;
    return std::move(found.m_Addresses);
}

}  // namespace northbound
