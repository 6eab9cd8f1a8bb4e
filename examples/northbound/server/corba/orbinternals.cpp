#include "server/corba/orbinternals.h"

// In the order in which the ORB's own sources include them; the headers rely on it.
// clang-format off
#include <omniORB4/omniInterceptors.h>
#include <omniORB4/omniIOR.h>
#include <omniORB4/internal/giopStream.h>
#include <omniORB4/internal/giopStrand.h>
#include <omniORB4/internal/giopRope.h>
#include <omniORB4/internal/GIOP_S.h>
// clang-format on

namespace northbound {
namespace {

thread_local Peer t_Peer;

/// \param address "giop:tcp:<address>:<port>", "giop:unix:<path>", ...
Peer PeerAt(const std::string& address)
{
    const std::string tcp = "giop:tcp:";
    const std::string local = "giop:unix:";
    if (address.compare(0, local.size(), local) == 0) return {"local", true};
    return {address.compare(0, tcp.size(), tcp) == 0 ? address.substr(tcp.size()) : address, false};
}

CORBA::Boolean NotePeer(omni::omniInterceptors::serverReceiveRequest_T::info_T& info)
{
    t_Peer = PeerAt(info.giop_s.strand().connection->peeraddress());
    return true;
}

}  // namespace

void NotePeers()
{
    omniORB::getInterceptors()->serverReceiveRequest.add(NotePeer);
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
        return body.address.port;
    }
    return -1;
}

}  // namespace northbound
