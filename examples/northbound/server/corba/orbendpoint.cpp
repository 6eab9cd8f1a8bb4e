#include "server/corba/orbendpoint.h"

#include <omniORB4/omniORB.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <thread>
#include <utility>

#include "nbihost/standalone.h"
#include "server/corba/orbinternals.h"
#include "server/serving/occasionally.h"
#include "shared/corba/tlscontext.h"
#include "shared/localsocket.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "orb";

/// What the ORB's threads get to send the last answers. The ORB waits for the servant's operations only, but
/// an answer that is an exception is sent after its operation has ended, and a shutdown would cut it off.
constexpr std::chrono::milliseconds SENDING_TIME(500);

/// How the ORB's warning ends that nobody asked for TLS.
constexpr const char* NO_TLS = "SSL transport disabled.";

/// What the ORB has to say goes to the log like everything else.
void LogOrbMessage(const char* pMessage)
{
    std::string text = pMessage;
    while (!text.empty() && text.back() == '\n') text.pop_back();
    if (text.find(NO_TLS) != std::string::npos) return;
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s", text.c_str());
}

/// As clients name it.
std::string TcpText(const Listening& places, int nPort)
{
    return (places.m_Tls ? TLS_SCHEME : "") + places.m_Tcp->m_Host + ":" + std::to_string(nPort);
}

std::string PlacesText(const Listening& places)
{
    std::string text = places.m_Tcp ? TcpText(places, places.m_Tcp->m_nPort) : "";
    if (places.m_Socket.empty()) return text;
    if (!text.empty()) text += " and ";
    return text + SOCKET_SCHEME + places.m_Socket;
}

using Options = std::vector<std::pair<std::string, std::string>>;

/// Each with its reason: what the ORB does by itself suits a server among friends.
Options OptionsFor(const Listening& places, const ConnectionLimits& connections)
{
    Options options{
        // The log has the time of each line, and the ORB would ask for it in a way that threads must not share.
        {"traceTime", "0"},
        {"unixTransportPermission", places.m_SocketGroup.empty() ? "0600" : "0660"},
        // Whoever announces more is not listened to; lists are answered in pages that fit.
        {"giopMaxMsgSize", std::to_string(MAX_MESSAGE)},
        // Every connection has a thread, which also closes it at once where it is one too many. Beyond the first of
        // these numbers, which no descriptor limit reaches, the ORB would leave connections unlooked at until they
        // send something.
        {"threadPerConnectionUpperLimit", "100000000"},
        {"threadPerConnectionLowerLimit", "99999999"},
        // Threads beside those, for requests that share a connection.
        {"maxServerThreadPoolSize", "100"},
        // A connection that asks nothing is closed, and so is one that keeps the rest of a message to itself: the
        // first of these times runs between requests, the second while a request or an answer is on its way. None
        // runs while a request is carried out, so a collection may last as long as it likes.
        {"scanGranularity", "1"},
        {"inConScanPeriod", std::to_string(connections.m_Idle.count())},
        {"serverCallTimeOutPeriod", std::to_string(std::chrono::milliseconds(connections.m_Idle).count())},
    };
    if (places.m_Tcp) {
        const std::string port = places.m_Tcp->m_nPort == 0 ? "" : std::to_string(places.m_Tcp->m_nPort);
        const std::string transport = places.m_Tls ? "giop:ssl:" : "giop:tcp:";
        options.emplace_back("endPoint", transport + places.m_Tcp->m_Host + ":" + port);
    }
    if (!places.m_Socket.empty()) options.emplace_back("endPoint", "giop:unix:" + places.m_Socket);
    return options;
}

/// At most one line a minute: whoever reaches the port can make as many failures as he likes.
void TellTlsFailure(const std::string& peer, const std::string& why)
{
    static Occasionally lines{std::chrono::minutes(1)};
    const unsigned long nFailures = lines.Count();
    if (nFailures == 0) return;
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE,
                 "TLS with %s failed: %s; %lu such failures since the last such line", peer.c_str(),
                 why.c_str(), nFailures);
}

CORBA::ORB_ptr InitOrb(const Options& options)
{
    const auto pTable = std::make_unique<const char*[][2]>(options.size() + 1);  // nulls end it
    for (std::size_t i = 0; i < options.size(); ++i) {
        pTable[i][0] = options[i].first.c_str();
        pTable[i][1] = options[i].second.c_str();
    }
    int nArgs = 0;
    CORBA::ORB_ptr orb = CORBA::ORB_init(nArgs, nullptr, "omniORB4", pTable.get());
    return orb;
}

/// The one adapter whose objects keep the plain key that a corbaloc text names.
PortableServer::POA_ptr Adapter(CORBA::ORB_ptr orb)
{
    const CORBA::Object_var object = orb->resolve_initial_references("omniINSPOA");
    return PortableServer::POA::_narrow(object);
}

}  // namespace

OrbEndpoint::OrbEndpoint(const Listening& places, const ConnectionLimits& connections,
                         PortableServer::ServantBase& servant)
{
    omniORB::setLogFunction(LogOrbMessage);
    try {
        if (places.m_Tls) TlsContext::InstallForServer(*places.m_Tls, TellTlsFailure);
        m_Orb = InitOrb(OptionsFor(places, connections));
        NotePeers();
        LimitConnections(connections.m_nMost);
        const CORBA::Object_var object = Activate(servant);
        if (places.m_Tcp) m_Addresses.push_back(TcpText(places, InternetPortOf(object)));
        if (!places.m_Socket.empty()) LengthenQueue(places.m_Socket);
    } catch (const CORBA::Exception& e) {
        throw EndpointError("cannot listen on " + PlacesText(places) + " (" + e._name() +
                            "); the log says more");
    }
    if (!places.m_Socket.empty()) m_Addresses.push_back(SOCKET_SCHEME + places.m_Socket);
}

OrbEndpoint::~OrbEndpoint()
{
    try {
        Shutdown();
    } catch (const CORBA::Exception& e) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "the ORB did not end in order: %s", e._name());
    }
}

CORBA::Object_var OrbEndpoint::Activate(PortableServer::ServantBase& servant)
{
    const PortableServer::POA_var adapter = Adapter(m_Orb);
    const PortableServer::ObjectId_var key = PortableServer::string_to_ObjectId(OBJECT_KEY);
    adapter->activate_object_with_id(key, &servant);
    const PortableServer::POAManager_var manager = adapter->the_POAManager();
    manager->activate();
    return adapter->id_to_reference(key);
}

void OrbEndpoint::Shutdown()
{
    if (CORBA::is_nil(m_Orb)) return;
    const PortableServer::POA_var adapter = Adapter(m_Orb);
    const PortableServer::POAManager_var manager = adapter->the_POAManager();
    manager->discard_requests(true);
    std::this_thread::sleep_for(SENDING_TIME);
    m_Orb->shutdown(true);
    m_Orb->destroy();
    m_Orb = CORBA::ORB::_nil();
}

}  // namespace northbound
