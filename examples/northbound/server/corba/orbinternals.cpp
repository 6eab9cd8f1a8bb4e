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

thread_local std::string t_PeerAddress;

CORBA::Boolean NotePeer(omni::omniInterceptors::serverReceiveRequest_T::info_T& info)
{
    const std::string address = info.giop_s.strand().connection->peeraddress();
    const std::string transport = "giop:tcp:";
    t_PeerAddress =
        address.compare(0, transport.size(), transport) == 0 ? address.substr(transport.size()) : address;
    return true;
}

}  // namespace

void NotePeers()
{
    omniORB::getInterceptors()->serverReceiveRequest.add(NotePeer);
}

std::string PeerAddress()
{
    return t_PeerAddress;
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
