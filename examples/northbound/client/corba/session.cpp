#include "client/corba/session.h"

#include <omniORB4/minorCode.h>
#include <omniORB4/omniORB.h>

#include <algorithm>
#include <map>

#include "client/texts/texts.h"
#include "shared/localsocket.h"
#include "shared/names.h"

namespace northbound {
namespace {

std::string LocationOf(const std::string& server)
{
    const std::string scheme = SOCKET_SCHEME;
    if (server.compare(0, scheme.size(), scheme) != 0) return "corbaloc:iiop:" + server + "/" + OBJECT_KEY;
    return "corbaloc:omniunix:" + server.substr(scheme.size()) + ":/" + OBJECT_KEY;
}

}  // namespace

Session::Session(const std::string& server, const std::string& user, const std::string& key,
                 std::chrono::milliseconds timeout)
    : m_Address(server), m_Timeout(timeout)
{
    // By default five connections carry all requests, and a sixth collection would wait for one of the first
    // five. Time limits of threads count only where the ORB is told to look for them. Trace level 0: failures are
    // reported in the client's own words.
    const char* options[][2] = {{"maxGIOPConnectionPerServer", "1000"},
                                {"supportPerThreadTimeOut", "1"},
                                {"traceLevel", "0"},
                                {nullptr, nullptr}};
    int nArgs = 0;
    m_Orb = CORBA::ORB_init(nArgs, nullptr, "omniORB4", options);
    const CORBA::Object_var object = m_Orb->string_to_object(LocationOf(server).c_str());
    m_Manager = Northbound::Manager::_unchecked_narrow(object);
    m_Who.user = user.c_str();
    m_Who.key = key.c_str();
    m_Who.patience = static_cast<CORBA::ULong>(timeout.count());
    LimitAnswerTime(static_cast<unsigned int>(timeout.count()));
}

Session::~Session()
{
    try {
        m_Orb->destroy();
    } catch (const CORBA::Exception&) {
        // The process ends; there is nobody to tell.
    }
}

std::vector<std::string> Session::DnsOf(const std::vector<std::string>& ports) const
{
    const auto isDn = [](const std::string& port) { return port.find('=') != std::string::npos; };
    if (std::all_of(ports.begin(), ports.end(), isDn)) return ports;
    const Northbound::PortList_var inventory = m_Manager->Inventory(m_Who);
    std::map<std::string, std::string> dns;
    for (CORBA::ULong i = 0; i < inventory->length(); ++i) {
        dns[inventory.in()[i].name.in()] = inventory.in()[i].dn.in();
    }
    std::vector<std::string> result;
    for (const std::string& port : ports) {
        const auto found = dns.find(port);
        result.push_back(found == dns.end() ? port : found->second);
    }
    return result;
}

void Session::Ping() const
{
    static_cast<void>(m_Manager->_non_existent());
}

bool Session::IsGone() const
{
    try {
        return static_cast<bool>(m_Manager->_non_existent());
    } catch (const CORBA::TRANSIENT& e) {
        return e.minor() == omni::TRANSIENT_ConnectFailed;
    } catch (const CORBA::COMM_FAILURE&) {
        return false;  // the connection has ended; the next attempt tells whether there is a new one
    }
}

std::string Session::ReasonOf(const CORBA::SystemException& failure)
{
    if (dynamic_cast<const CORBA::COMM_FAILURE*>(&failure) != nullptr) {
        return Say("the connection was closed: refused, or not a server");
    }
    const char* const pMinor = failure.NP_minorString();
    return pMinor == nullptr ? failure._name() : pMinor;
}

void Session::LimitAnswerTime(unsigned int nMilliseconds)
{
    omniORB::setClientThreadCallTimeout(nMilliseconds);
}

}  // namespace northbound
