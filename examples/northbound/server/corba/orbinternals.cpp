#include "server/corba/orbinternals.h"

// In the order in which the ORB's own sources include them; the headers rely on it.
// clang-format off
#include <omniORB4/omniInterceptors.h>
#include <omniORB4/omniIOR.h>
#include <omniORB4/internal/giopStream.h>
#include <omniORB4/internal/giopStrand.h>
#include <omniORB4/internal/giopRope.h>
#include <omniORB4/internal/GIOP_S.h>
#include <omniORB4/tcpConnection.h>
#include <omniORB4/unixConnection.h>
#include <omniORB4/sslContext.h>
#include <omniORB4/sslConnection.h>
// clang-format on

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "nbihost/standalone.h"
#include "server/serving/occasionally.h"

namespace northbound {
namespace {

thread_local Peer t_Peer;

/// \param address "giop:tcp:<address>:<port>", "giop:ssl:<address>:<port>", "giop:unix:<path>", ...
Peer PeerAt(const std::string& address)
{
    const auto rest = [&address](const std::string& scheme) {
        return address.compare(0, scheme.size(), scheme) == 0 ? address.substr(scheme.size()) : "";
    };
    if (!rest("giop:unix:").empty()) return {"local", true};
    if (const std::string tls = rest("giop:ssl:"); !tls.empty()) return {tls, false, true};
    const std::string tcp = rest("giop:tcp:");
    return {tcp.empty() ? address : tcp};
}

int SocketOf(omni::giopConnection* pConnection)
{
    if (const auto* const pTcp = dynamic_cast<omni::tcpConnection*>(pConnection)) return pTcp->handle();
    if (const auto* const pTls = dynamic_cast<omni::sslConnection*>(pConnection)) return pTls->handle();
    if (const auto* const pUnix = dynamic_cast<omni::unixConnection*>(pConnection)) return pUnix->handle();
    return -1;
}

CORBA::Boolean NotePeer(omni::omniInterceptors::serverReceiveRequest_T::info_T& info)
{
    omni::giopConnection* const pConnection = info.giop_s.strand().connection;
    t_Peer = PeerAt(pConnection->peeraddress());
    t_Peer.m_nSocket = SocketOf(pConnection);
    return true;
}

std::size_t g_nMostConnections = 0;  // set before the ORB has other threads

/// Marks the connections that were let in, with one of the bits that the ORB leaves to applications.
constexpr CORBA::ULong LET_IN = 0x40000000;
static_assert((LET_IN & ~GIOPSTRAND_APPLICATION_MASK) == 0);

/// Nothing of the ORB's tells that a connection has ended, so they are counted where it keeps them. Counting and marking
/// are one step: of a crowd that comes at once, exactly as many as may are let in.
bool LetIn(omni::giopStrand& connection, std::size_t nMost)
{
    const omni_tracedmutex_lock guard(*omni::omniTransportLock);
    std::size_t nInside = 0;
    const omni::StrandList& all = omni::giopStrand::passive;
    for (const omni::StrandList* p = all.next; p != &all; p = p->next) {
        if ((static_cast<const omni::giopStrand*>(p)->flags & LET_IN) != 0) ++nInside;
    }
    if (nInside >= nMost) return false;
    connection.flags |= LET_IN;
    return true;
}

void TellRejected(const std::string& address)
{
    static Occasionally lines{std::chrono::minutes(1)};
    const unsigned long nRejected = lines.Count();
    if (nRejected == 0) return;
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, "orb",
                 "connection from %s closed at once: as many as may are open, %zu; %lu closed so since the "
                 "last such line",
                 address.c_str(), g_nMostConnections, nRejected);
}

CORBA::Boolean CheckRoom(omni::omniInterceptors::serverAcceptConnection_T::info_T& info)
{
    const Peer peer = PeerAt(info.peeraddress());
    if (LetIn(info.strand, g_nMostConnections + (peer.m_bLocal ? LOCAL_CONNECTIONS : 0))) return true;
    info.reject = true;
    info.why = "as many connections as may are open";
    TellRejected(peer.m_Address);
    return true;
}

bool ListensAt(int nSocket, const std::string& path)
{
    sockaddr_un address{};
    socklen_t nLength = sizeof(address) - 1;  // a zero byte stays behind the longest path
    if (getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength) != 0) return false;
    int nListens = 0;
    socklen_t nSize = sizeof(nListens);
    return address.sun_family == AF_UNIX && address.sun_path == path &&
           getsockopt(nSocket, SOL_SOCKET, SO_ACCEPTCONN, &nListens, &nSize) == 0 && nListens != 0;
}

/// Of an object that is not served by plain TCP.
int TlsPortOf(const IOP::MultipleComponentProfile& components)
{
    for (CORBA::ULong i = 0; i < components.length(); ++i) {
        if (components[i].tag != IOP::TAG_SSL_SEC_TRANS) continue;
        const auto& data = components[i].component_data;
        cdrEncapsulationStream stream(data.get_buffer(), data.length(), true);
        CORBA::UShort nSupported = 0;
        CORBA::UShort nRequired = 0;
        CORBA::UShort nPort = 0;
        nSupported <<= stream;
        nRequired <<= stream;
        nPort <<= stream;
        return nPort;
    }
    return -1;
}

}  // namespace

void LimitConnections(std::size_t nMost)
{
    g_nMostConnections = nMost;
    omniORB::getInterceptors()->serverAcceptConnection.add(CheckRoom);
}

/// The ORB tells nobody its endpoints' sockets, so this one is looked for among what the process has open.
void LengthenQueue(const std::string& path)
{
    std::error_code error;  // without /proc the queue stays as it is
    for (const auto& open : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const int nSocket = std::atoi(open.path().filename().c_str());
        if (ListensAt(nSocket, path)) listen(nSocket, SOMAXCONN);
    }
}

void NotePeers()
{
    omniORB::getInterceptors()->serverReceiveRequest.add(NotePeer);
}

bool HasHungUp(int nSocket)
{
    pollfd one{nSocket, POLLRDHUP, 0};
    return nSocket >= 0 && poll(&one, 1, 0) > 0 && (one.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

const Peer& CurrentPeer()
{
    return t_Peer;
}

/// The reference that the ORB hands out names the port.
int InternetPortOf(CORBA::Object_ptr object)
{
    const omniIOR_var ior = object->_PR_getobj()->_getIOR();
    const IOP::TaggedProfileList& profiles = ior->iopProfiles();
    for (CORBA::ULong i = 0; i < profiles.length(); ++i) {
        if (profiles[i].tag != IOP::TAG_INTERNET_IOP) continue;
        IIOP::ProfileBody body;
        IIOP::unmarshalProfile(profiles[i], body);
        return body.address.port != 0 ? body.address.port : TlsPortOf(body.components);
    }
    return -1;
}

}  // namespace northbound
