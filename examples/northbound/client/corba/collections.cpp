#include "client/corba/collections.h"

#include <omnithread.h>

namespace northbound {

Collection::Collection(const Session& session, const Northbound::CollectionOrder& work, unsigned int nTimeout)
    : m_Work(work), m_Thread([this, &session, nTimeout] { Carry(session, nTimeout); })
{
}

Collection::~Collection()
{
    m_Thread.join();
}

void Collection::Carry(const Session& session, unsigned int nTimeout)
{
    const omni_thread::ensure_self self;  // the ORB keeps the time limit in a record of its own threads
    Session::LimitAnswerTime(m_Work.duration + nTimeout);
    Northbound::Caller who = session.Who();
    who.patience = m_Work.duration + nTimeout;
    try {
        m_pResult.reset(session.Server()->Collect(who, m_Work));
    } catch (const Northbound::OperationFailed& e) {
        m_pRefusal = std::make_unique<Northbound::OperationFailed>(e);
    } catch (const CORBA::SystemException& e) {
        m_pNoServer.reset(dynamic_cast<CORBA::SystemException*>(CORBA::Exception::_duplicate(&e)));
    }
    m_bOver = true;
}

}  // namespace northbound
