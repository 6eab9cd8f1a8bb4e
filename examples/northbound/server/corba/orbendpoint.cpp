#include "server/corba/orbendpoint.h"

#include <omniORB4/omniORB.h>

#include <chrono>
#include <thread>

#include "nbihost/standalone.h"
#include "server/corba/orbinternals.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "orb";

/// What the ORB's threads get to send the last answers. The ORB waits for the servant's operations only, but
/// an answer that is an exception is sent after its operation has ended, and a shutdown would cut it off.
constexpr std::chrono::milliseconds SENDING_TIME(500);

/// What the ORB has to say goes to the log like everything else.
void LogOrbMessage(const char* pMessage)
{
    std::string text = pMessage;
    while (!text.empty() && text.back() == '\n') text.pop_back();
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s", text.c_str());
}

CORBA::ORB_ptr InitOrb(const std::string& address, int nPort)
{
    const std::string port = nPort == 0 ? "" : std::to_string(nPort);
    const std::string endpoint = "giop:tcp:" + address + ":" + port;
    const char* options[][2] = {{"endPoint", endpoint.c_str()}, {nullptr, nullptr}};
    int nArgs = 0;
    CORBA::ORB_ptr orb = CORBA::ORB_init(nArgs, nullptr, "omniORB4", options);
    NotePeers();
    return orb;
}

/// The one adapter whose objects keep the plain key that a corbaloc text names.
PortableServer::POA_ptr Adapter(CORBA::ORB_ptr orb)
{
    const CORBA::Object_var object = orb->resolve_initial_references("omniINSPOA");
    return PortableServer::POA::_narrow(object);
}

}  // namespace

OrbEndpoint::OrbEndpoint(const std::string& address, int nPort, PortableServer::ServantBase& servant)
{
    omniORB::setLogFunction(LogOrbMessage);
    try {
        m_Orb = InitOrb(address, nPort);
        m_nPort = Activate(servant);
    } catch (const CORBA::Exception& e) {
        throw EndpointError("cannot listen on " + address + ":" + std::to_string(nPort) + " (" + e._name() +
                            "); the log says more");
    }
}

OrbEndpoint::~OrbEndpoint()
{
    try {
        Shutdown();
    } catch (const CORBA::Exception& e) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "the ORB did not end in order: %s", e._name());
    }
}

int OrbEndpoint::Activate(PortableServer::ServantBase& servant)
{
    const PortableServer::POA_var adapter = Adapter(m_Orb);
    const PortableServer::ObjectId_var key = PortableServer::string_to_ObjectId(OBJECT_KEY);
    adapter->activate_object_with_id(key, &servant);
    const PortableServer::POAManager_var manager = adapter->the_POAManager();
    manager->activate();
    const CORBA::Object_var reference = adapter->id_to_reference(key);
    const int nPort = InternetPortOf(reference);
    if (nPort < 0) throw EndpointError("the ORB has no internet endpoint");
    return nPort;
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
