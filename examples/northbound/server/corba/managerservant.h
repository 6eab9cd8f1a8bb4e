/// \file
/// The northbound interface, on the ORB's threads.
#pragma once

#include <omniORB4/CORBA.h>

#include <memory>

namespace northbound {

class Service;

/// The interface's implementation: asks \p service, and raises OperationFailed for a failure.
/// Threads: any number of request threads. Must outlive the ORB.
std::shared_ptr<PortableServer::ServantBase> MakeManagerServant(Service& service);

}  // namespace northbound
