#include "client/corba/session.h"

#include <omniORB4/minorCode.h>
#include <omniORB4/omniORB.h>

#include <algorithm>
#include <mutex>

#include "client/corba/resolver.h"
#include "client/texts/texts.h"
#include "shared/corba/tlscontext.h"
#include "shared/localsocket.h"
#include "shared/names.h"

namespace northbound {
namespace {

using Milliseconds = std::chrono::milliseconds;

bool Has(const std::string& server, const std::string& scheme)
{
    return server.compare(0, scheme.size(), scheme) == 0;
}

std::string Without(const std::string& server, const std::string& scheme)
{
    return server.substr(scheme.size());
}

/// "<host>:<port>" of a server that is reached by TCP, with TLS or without.
std::string Internet(const std::string& server)
{
    return Has(server, TLS_SCHEME) ? Without(server, TLS_SCHEME) : server;
}

/// \throws UnknownName
std::string LocationOf(const std::string& server, std::chrono::milliseconds limit)
{
    std::string location = "corbaloc:";
    if (Has(server, SOCKET_SCHEME)) {
        location += "omniunix:" + Without(server, SOCKET_SCHEME) + ":";
    } else {
        const char* pParting = "";
        for (const std::string& place : PlacesBehind(Internet(server), limit)) {
            location.append(pParting).append(Has(server, TLS_SCHEME) ? "ssliop:" : "iiop:").append(place);
            pParting = ",";
        }
    }
    return location + "/" + OBJECT_KEY;
}

bool NeedsNoSearch(const std::string& server)
{
    return Has(server, SOCKET_SCHEME) || IsAddress(Internet(server));
}

/// Without port and without the brackets of an IPv6 address.
std::string HostIn(const std::string& hostAndPort)
{
    std::string host = hostAndPort.substr(0, hostAndPort.rfind(':'));
    if (host.size() > 1 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    return host;
}

/// Why the current server was not reached. The ORB says no more than that it got no connection, or lost it. Threads: any.
class ConnectionFault {
public:
    /// Before another server is asked.
    void Forget()
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_Fault.clear();
        m_bWanted = m_bEstablished = false;
    }

    void Note(const std::string& fault)
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_Fault = fault;
    }

    void NoteWanted()
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_bWanted = true;
    }

    void NoteEstablished()
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_bEstablished = true;
    }

    /// A server that does not accept what it was shown may tell so when TLS is established here, or just go: then what
    /// arrives is a matter of time. A certificate that is wanted and missing is the reason in any case.
    /// \return "" when nothing is known
    std::string Text(bool bInTime)
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        if (bInTime && m_bWanted) {
            return Say("TLS failed: {1}", {Say("the other side wants a certificate, and this client has none "
                                               "(TlsCertificate, TlsKey)")});
        }
        if (!m_Fault.empty() || !bInTime || !m_bEstablished) return m_Fault;
        return Say(
            "the connection was closed: the server has ended, or does not accept this client's certificate");
    }

private:
    std::mutex m_Mutex;
    std::string m_Fault;          // guarded by m_Mutex
    bool m_bWanted = false;       // guarded by m_Mutex
    bool m_bEstablished = false;  // guarded by m_Mutex
};

ConnectionFault& LastFault()
{
    static ConnectionFault fault;
    return fault;
}

void SpeakTls(const std::vector<Endpoint>& servers, const TlsFiles& files)
{
    const auto isTls = [](const Endpoint& server) { return Has(server.m_Address, TLS_SCHEME); };
    if (std::none_of(servers.begin(), servers.end(), isTls)) return;
    TlsEvents events;
    events.m_OnFailure = [](const std::string& /*peer*/, const std::string& why) {
        LastFault().Note(Say("TLS failed: {1}", {Translated(why)}));
    };
    events.m_OnWanted = [] { LastFault().NoteWanted(); };
    events.m_OnEstablished = [] { LastFault().NoteEstablished(); };
    TlsContext::InstallForClient(files, events);
}

/// Before anything is asked of the server at \p address.
void ExpectFrom(const std::string& address)
{
    LastFault().Forget();
    if (Has(address, TLS_SCHEME)) TlsContext::Expect(HostIn(Without(address, TLS_SCHEME)));
}

std::string Named(const std::string& address, const CORBA::SystemException& failure)
{
    return address + " (" + Session::ReasonOf(failure) + ")";
}

}  // namespace

Session::Session(const std::vector<Endpoint>& servers, const std::string& user,
                 std::chrono::milliseconds timeout, const TlsFiles& tls)
    : m_Timeout(timeout)
{
    // By default five connections carry all requests, and a sixth collection would wait for one of the first
    // five. Time limits of threads count only where the ORB is told to look for them. Trace level 0: failures are
    // reported in the client's own words.
    const std::string maxMessage = std::to_string(MAX_MESSAGE);
    const char* options[][2] = {{"maxGIOPConnectionPerServer", "1000"},
                                {"giopMaxMsgSize", maxMessage.c_str()},
                                {"supportPerThreadTimeOut", "1"},
                                {"traceLevel", "0"},
                                {nullptr, nullptr}};
    SpeakTls(servers, tls);
    int nArgs = 0;
    m_Orb = CORBA::ORB_init(nArgs, nullptr, "omniORB4", options);
    m_Servers.reserve(servers.size());
    for (const Endpoint& server : servers) m_Servers.emplace_back(server, user.c_str(), timeout);
    MakeWhatNeedsNoSearch();
    ExpectFrom(Address());
    LimitAnswerTime(static_cast<unsigned int>(timeout.count()));
}

Session::Way::Way(const Endpoint& server, const char* pUser, Milliseconds patience)
    : m_Address(server.m_Address)
{
    m_Who.user = pUser;
    m_Who.key = server.m_Key.c_str();
    m_Who.patience = static_cast<CORBA::ULong>(patience.count());
}

/// So that an address which is none is told before anybody is asked.
void Session::MakeWhatNeedsNoSearch()
{
    for (Way& way : m_Servers) {
        if (!NeedsNoSearch(way.m_Address)) continue;
        try {
            way.m_Manager = ManagerAt(way.m_Address, m_Timeout);
        } catch (const CORBA::SystemException& e) {
            throw NoAnswer(Named(way.m_Address, e));
        }
    }
}

Northbound::Manager_ptr Session::ManagerAt(const std::string& address, Milliseconds limit) const
{
    try {
        const CORBA::Object_var object = m_Orb->string_to_object(LocationOf(address, limit).c_str());
        return Northbound::Manager::_unchecked_narrow(object);
    } catch (const UnknownName& e) {
        LastFault().Note(e.what());
        throw CORBA::TRANSIENT(omni::TRANSIENT_ConnectFailed, CORBA::COMPLETED_NO);
    }
}

Milliseconds Session::Reach(Milliseconds limit) const
{
    std::lock_guard<std::mutex> guard(m_ReachLock);
    Way& way = m_Servers[m_nCurrent];
    if (!CORBA::is_nil(way.m_Manager)) return limit;
    const auto begin = std::chrono::steady_clock::now();
    way.m_Manager = ManagerAt(way.m_Address, limit);
    const auto taken = std::chrono::steady_clock::now() - begin;
    return std::max(limit - std::chrono::duration_cast<Milliseconds>(taken), Milliseconds(1));
}

Northbound::Manager_ptr Session::Server() const
{
    const Milliseconds left = Reach(m_Timeout);
    if (left != m_Timeout) LimitAnswerTime(static_cast<unsigned int>(left.count()));
    return Current().m_Manager.in();
}

Session::~Session()
{
    try {
        m_Orb->destroy();
    } catch (const CORBA::Exception&) {
        // The process ends; there is nobody to tell.
    }
}

void Session::Settle() const
{
    if (m_bSettled || !HasSeveralServers()) return;
    for (Attempts attempts(*this, 1);;) {
        try {
            attempts.Begin();
            Ping();
            attempts.TakeTheRest();
            m_bSettled = true;
            break;
        } catch (const CORBA::SystemException& e) {
            attempts.GoOn(e);
        }
    }
}

bool Session::IsToLogInFor(const Northbound::OperationFailed& failure) const
{
    return failure.code == ErrCode::NOT_LOGGED_IN && m_Keys.m_LogIn;
}

void Session::LogIn() const
{
    m_Servers[m_nCurrent].m_Who.key = m_Keys.m_LogIn().c_str();
}

std::size_t Session::IndexOf(const std::string& address) const
{
    const auto isThere = [&address](const Way& way) { return way.m_Address == address; };
    return static_cast<std::size_t>(std::find_if(m_Servers.begin(), m_Servers.end(), isThere) -
                                    m_Servers.begin());
}

bool Session::IsReachedLikeOneOf(const std::string& address) const
{
    const auto kind = [](const std::string& server) {
        return std::make_pair(Has(server, TLS_SCHEME), Has(server, SOCKET_SCHEME));
    };
    return std::any_of(m_Servers.begin(), m_Servers.end(),
                       [&](const Way& way) { return kind(way.m_Address) == kind(address); });
}

void Session::Adopt(const std::vector<Neighbour>& neighbours) const
{
    std::vector<Way> ways;
    std::vector<bool> taken(m_Servers.size(), false);
    ways.reserve(neighbours.size() + m_Servers.size());
    for (const Neighbour& neighbour : neighbours) {
        m_Neighbours.insert(neighbour.m_Name);
        const std::size_t nKnown = IndexOf(neighbour.m_Address);
        if (nKnown < m_Servers.size()) {
            if (!taken[nKnown]) ways.push_back(m_Servers[nKnown]);
            taken[nKnown] = true;
        } else if (IsReachedLikeOneOf(neighbour.m_Address)) {
            const std::string key = m_Keys.m_Known ? m_Keys.m_Known(neighbour.m_Address) : "";
            ways.emplace_back(Endpoint{neighbour.m_Address, key}, Who().user, m_Timeout);
        }
    }
    for (std::size_t i = 0; i < m_Servers.size(); ++i) {
        if (taken[i]) continue;
        ways.push_back(m_Servers[i]);
        ways.back().m_bOfBook = i == m_nCurrent;
    }
    m_Servers = std::move(ways);
    m_nCurrent = 0;
    m_bSettled = false;
    ExpectFrom(Address());
}

void Session::RequireBook() const
{
    Way& way = m_Servers[m_nCurrent];
    if (way.m_bOfBook) return;
    const Northbound::ServerPage_var page =
        AskLoggedIn([](Northbound::Manager_ptr server, const Northbound::Caller& who) {
            return server->Servers(who, "");
        });
    for (CORBA::ULong i = 0; i < page->servers.length(); ++i) {
        way.m_bOfBook = way.m_bOfBook || m_Neighbours.count(page->servers[i].name.in()) > 0;
    }
    if (way.m_bOfBook) return;
    LastFault().Note(Say("it shares no book with the others"));
    throw CORBA::TRANSIENT(omni::TRANSIENT_ConnectFailed, CORBA::COMPLETED_NO);
}

void Session::TurnToNext() const
{
    m_nCurrent = (m_nCurrent + 1) % m_Servers.size();
    ExpectFrom(Address());
}

void Session::TurnTo(const std::string& address) const
{
    const std::size_t nServer = IndexOf(address);
    if (nServer == m_Servers.size()) return;
    m_nCurrent = nServer;
    ExpectFrom(Address());
}

Session::Attempts::Attempts(const Session& session, unsigned int nReserved)
    : m_Session(session),
      m_End(std::chrono::steady_clock::now() + session.m_Timeout),
      m_nLeft(static_cast<unsigned int>(session.m_Servers.size())),
      m_nReserved(nReserved)
{
}

void Session::Attempts::Begin()
{
    Limit(m_nLeft-- + m_nReserved);
}

void Session::Attempts::TakeTheRest()
{
    Limit(1);
}

void Session::Attempts::Limit(unsigned int nShares)
{
    const auto left = std::chrono::duration_cast<Milliseconds>(m_End - std::chrono::steady_clock::now());
    const Milliseconds share(std::max<Milliseconds::rep>(left.count() / nShares, 1));  // 0 would be no limit
    const Milliseconds rest = m_Session.Reach(share);
    LimitAnswerTime(static_cast<unsigned int>(rest.count()));
    m_Session.m_Servers[m_Session.m_nCurrent].m_Who.patience = static_cast<CORBA::ULong>(rest.count());
}

void Session::Attempts::GoOn(const CORBA::SystemException& failure)
{
    if (!m_Failures.empty()) m_Failures += ", ";
    m_Failures += Named(m_Session.Address(), failure);
    if (m_nLeft == 0) throw NoAnswer(m_Failures);
    m_Session.TurnToNext();
}

void Session::Ping() const
{
    static_cast<void>(Server()->_non_existent());
}

bool Session::IsGone() const
{
    try {
        return static_cast<bool>(Server()->_non_existent());
    } catch (const CORBA::TRANSIENT& e) {
        return e.minor() == omni::TRANSIENT_ConnectFailed;
    } catch (const CORBA::COMM_FAILURE&) {
        return false;  // the connection has ended; the next attempt tells whether there is a new one
    }
}

std::string Session::ReasonOf(const CORBA::SystemException& failure)
{
    const bool bInTime = dynamic_cast<const CORBA::TIMEOUT*>(&failure) == nullptr;
    const std::string fault = LastFault().Text(bInTime);
    if (!fault.empty()) return fault;
    if (dynamic_cast<const CORBA::COMM_FAILURE*>(&failure) != nullptr) {
        return Say(
            "the connection was closed: refused, or not a server, or one with TLS (tls:<host>:<port>)");
    }
    const char* const pMinor = failure.NP_minorString();
    return pMinor == nullptr ? failure._name() : pMinor;
}

bool Session::IsTooLong(const CORBA::SystemException& failure)
{
    return dynamic_cast<const CORBA::MARSHAL*>(&failure) != nullptr &&
           failure.minor() == omni::MARSHAL_MessageSizeExceedLimitOnClient;
}

void Session::LimitAnswerTime(unsigned int nMilliseconds)
{
    omniORB::setClientThreadCallTimeout(nMilliseconds);
}

}  // namespace northbound
