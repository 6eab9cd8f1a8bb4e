#include "client/corba/session.h"

#include <omniORB4/minorCode.h>
#include <omniORB4/omniORB.h>

#include <algorithm>
#include <mutex>

#include "client/texts/texts.h"
#include "shared/corba/tlscontext.h"
#include "shared/localsocket.h"
#include "shared/names.h"

namespace northbound {
namespace {

bool Has(const std::string& server, const std::string& scheme)
{
    return server.compare(0, scheme.size(), scheme) == 0;
}

std::string Without(const std::string& server, const std::string& scheme)
{
    return server.substr(scheme.size());
}

std::string LocationOf(const std::string& server)
{
    const std::string slashAndKey = std::string("/") + OBJECT_KEY;
    if (Has(server, SOCKET_SCHEME)) {
        return "corbaloc:omniunix:" + Without(server, SOCKET_SCHEME) + ":" + slashAndKey;
    }
    if (Has(server, TLS_SCHEME)) return "corbaloc:ssliop:" + Without(server, TLS_SCHEME) + slashAndKey;
    return "corbaloc:iiop:" + server + slashAndKey;
}

/// Without port and without the brackets of an IPv6 address.
std::string HostIn(const std::string& hostAndPort)
{
    std::string host = hostAndPort.substr(0, hostAndPort.rfind(':'));
    if (host.size() > 1 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    return host;
}

/// Why TLS has failed. The ORB says no more than that it got no connection.
class TlsFailure {
public:
    void Set(const std::string& why)
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        m_Why = why;
    }

    std::string Get()
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        return m_Why;
    }

private:
    std::mutex m_Mutex;
    std::string m_Why;  // guarded by m_Mutex
};

TlsFailure& LastTlsFailure()
{
    static TlsFailure failure;
    return failure;
}

void SpeakTls(const std::vector<Endpoint>& servers, const TlsFiles& files)
{
    const auto isTls = [](const Endpoint& server) { return Has(server.m_Address, TLS_SCHEME); };
    if (std::none_of(servers.begin(), servers.end(), isTls)) return;
    TlsContext::InstallForClient(
        files, [](const std::string& /*peer*/, const std::string& why) { LastTlsFailure().Set(why); });
}

/// Before anything is asked of the server at \p address.
void ExpectFrom(const std::string& address)
{
    LastTlsFailure().Set("");
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
    for (const Endpoint& server : servers) {
        m_Servers.emplace_back();
        m_Servers.back().m_Address = server.m_Address;
        m_Servers.back().m_Manager = ManagerAt(server.m_Address);
        m_Servers.back().m_Who.user = user.c_str();
        m_Servers.back().m_Who.key = server.m_Key.c_str();
        m_Servers.back().m_Who.patience = static_cast<CORBA::ULong>(timeout.count());
    }
    ExpectFrom(Address());
    LimitAnswerTime(static_cast<unsigned int>(timeout.count()));
}

Northbound::Manager_ptr Session::ManagerAt(const std::string& address) const
{
    try {
        const CORBA::Object_var object = m_Orb->string_to_object(LocationOf(address).c_str());
        return Northbound::Manager::_unchecked_narrow(object);
    } catch (const CORBA::SystemException& e) {
        throw NoAnswer(Named(address, e));
    }
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
        attempts.Begin();
        try {
            Ping();
            attempts.TakeTheRest();
            m_bSettled = true;
            return;
        } catch (const CORBA::SystemException& e) {
            attempts.GoOn(e);
        }
    }
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
    using Milliseconds = std::chrono::milliseconds;
    const auto left = std::chrono::duration_cast<Milliseconds>(m_End - std::chrono::steady_clock::now());
    const auto nShare = std::max<Milliseconds::rep>(left.count() / nShares, 1);  // 0 would be no limit
    LimitAnswerTime(static_cast<unsigned int>(nShare));
    m_Session.m_Servers[m_Session.m_nCurrent].m_Who.patience = static_cast<CORBA::ULong>(nShare);
}

void Session::Attempts::GoOn(const CORBA::SystemException& failure)
{
    if (!m_Failures.empty()) m_Failures += ", ";
    m_Failures += Named(m_Session.Address(), failure);
    if (m_nLeft == 0) throw NoAnswer(m_Failures);
    m_Session.m_nCurrent = (m_Session.m_nCurrent + 1) % m_Session.m_Servers.size();
    ExpectFrom(m_Session.Address());
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
    const std::string tlsFailure = LastTlsFailure().Get();
    if (!tlsFailure.empty()) return Say("TLS failed: {1}", {Translated(tlsFailure)});
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
