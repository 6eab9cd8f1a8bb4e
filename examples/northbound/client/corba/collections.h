/// \file
/// Collections that one client runs side by side.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "client/corba/session.h"
#include "northbound.hh"

namespace northbound {

/// One collection and the thread that waits for it, from construction on. The destructor waits for the end.
class Collection {
public:
    Collection(const Session& session, const Northbound::CollectionOrder& work, unsigned int nTimeout);
    ~Collection();
    Collection(const Collection&) = delete;
    Collection& operator=(const Collection&) = delete;

    bool IsOver() const { return m_bOver; }
    const Northbound::CollectionOrder& Work() const { return m_Work; }

    /// Once it is over, exactly one of the three is not null.
    const Northbound::CollectionResult* Result() const { return m_pResult.get(); }
    const Northbound::OperationFailed* Refusal() const { return m_pRefusal.get(); }
    const CORBA::SystemException* NoServer() const { return m_pNoServer.get(); }

private:
    void Carry(const Session& session, unsigned int nTimeout);

    const Northbound::CollectionOrder m_Work;
    std::unique_ptr<Northbound::CollectionResult> m_pResult;
    std::unique_ptr<Northbound::OperationFailed> m_pRefusal;
    std::unique_ptr<CORBA::SystemException> m_pNoServer;
    std::atomic<bool> m_bOver{false};  // the members above are settled once it is set
    std::thread m_Thread;              // last: it uses the others
};

}  // namespace northbound
