/// \file
/// The northbound interface's operations, on the ORB's threads.
#pragma once

#include <functional>
#include <string>

#include "catalogue.h"
#include "collectionboard.h"
#include "configeditor.h"
#include "nbiutil/nbitask.h"
#include "northbound.hh"
#include "packer.h"
#include "requests.h"
#include "requestscope.h"
#include "serversettings.h"
#include "stopsignal.h"
#include "usersessions.h"

namespace northbound {

/// Each operation sets the context of its thread, makes a task with a descriptor, pushes it, waits, and turns
/// a ProcessException into the interface's own. Inventory goes to pool 0, a port's counters and
/// secrets to pool 1, collections to pool 2; the columns, the list of huge tasks, the public key and the
/// stop are answered on the spot.
/// Threads: any number of request threads. Must outlive the ORB and the pools.
class ManagerServant : public POA_Northbound::Manager {
public:
    /// \param catalogue   which figures the ports have
    /// \param requestStop starts the server's end and returns at once
    ManagerServant(const Settings& settings, Catalogue catalogue, ConfigEditor& editor, StopSignal& stop,
                   std::function<void()> requestStop);

    Northbound::PortList* Inventory(const Northbound::Caller& who) override;
    Northbound::ColumnList* Columns(const Northbound::Caller& who) override;
    Northbound::Reading* ReadCounters(const Northbound::Caller& who, const char* pDn) override;
    Northbound::CollectionResult* Collect(const Northbound::Caller& who,
                                          const Northbound::CollectionOrder& work) override;
    void Login(const Northbound::Caller& who, const char* pCipher) override;
    Northbound::UserSessionList* Sessions(const Northbound::Caller& who) override;
    Northbound::PackResult* Pack(const Northbound::Caller& who, const Northbound::PackOrder& work) override;
    void SetItem(const Northbound::Caller& who, const char* pKey, const char* pValue) override;
    Northbound::HugeTaskList* HugeTasks(const Northbound::Caller& who) override;
    Northbound::Bytes* PublicKey(const Northbound::Caller& who) override;
    CORBA::ULong SendSecret(const Northbound::Caller& who, const char* pCipher) override;
    void Stop(const Northbound::Caller& who) override;

private:
    template <class Body>
    auto Serve(const Operation& operation, const Northbound::Caller& who, Body body) -> decltype(body());
    void Carry(NS_UTIL::NBITask* pTask, unsigned int nPool, NS_UTIL::AD& descriptor);
    CollectionPlan CheckedPlan(const Northbound::CollectionOrder& work) const;

    const int m_nPerPortLimit;
    const Element m_Element;
    CollectionBoard m_Board;
    const CollectionPlace m_Place;
    UserSessions m_Sessions;
    Packer m_Packer;
    ConfigEditor& m_Editor;
    NS_UTIL::DBAgent m_Agent;
    const std::function<void()> m_RequestStop;
};

}  // namespace northbound
