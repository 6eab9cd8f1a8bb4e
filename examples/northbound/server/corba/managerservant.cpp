#include "server/corba/managerservant.h"

#include <chrono>
#include <functional>
#include <utility>
#include <variant>

#include "northbound.hh"
#include "server/corba/orbinternals.h"
#include "server/corba/translation.h"
#include "server/operations/service.h"

namespace northbound {
namespace {

/// \param nPatience milliseconds that the caller waits; 0: no matter how long
std::function<bool()> WhetherGone(int nSocket, CORBA::ULong nPatience)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end =
        nPatience == 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(nPatience);
    return [nSocket, end] { return Clock::now() > end || HasHungUp(nSocket); };
}

/// One method per operation: the request as a plain struct, the answer translated back.
class ManagerServant final : public POA_Northbound::Manager {
public:
    explicit ManagerServant(Service& service) : m_Service(service) {}

    Northbound::PortPage* Inventory(const Northbound::Caller& who, const char* pAfter,
                                    CORBA::ULong nLimit) override
    {
        return ToIdl(Ask<northbound::Inventory>(who, {pAfter, nLimit}));
    }

    Northbound::ColumnList* Columns(const Northbound::Caller& who) override
    {
        return ToIdl(Ask<northbound::Columns>(who, {}));
    }

    Northbound::Reading* ReadCounters(const Northbound::Caller& who, const char* pDn) override
    {
        return ToIdl(Ask<northbound::ReadCounters>(who, {pDn}));
    }

    Northbound::CollectionResult* Collect(const Northbound::Caller& who,
                                          const Northbound::CollectionOrder& work) override
    {
        return ToIdl(Ask<northbound::Collect>(who, {work.dn.in(), work.interval, work.duration}));
    }

    void Cancel(const Northbound::Caller& who, const char* pOperation) override
    {
        Ask<northbound::Cancel>(who, {pOperation});
    }

    CORBA::Boolean Order(const Northbound::Caller& who, const char* pOperation,
                         const Northbound::CollectionOrder& work) override
    {
        return Ask<northbound::Order>(who, {pOperation, {work.dn.in(), work.interval, work.duration}})
            .m_bKnown;
    }

    Northbound::OrderState* Await(const Northbound::Caller& who, const char* pOperation,
                                  CORBA::ULong nLimit) override
    {
        return ToIdl(Ask<northbound::Await>(who, {pOperation, nLimit}));
    }

    Northbound::OpenOrderPage* Orders(const Northbound::Caller& who, const char* pAfter) override
    {
        return ToIdl(Ask<northbound::Orders>(who, {pAfter}));
    }

    Northbound::ServerPage* Servers(const Northbound::Caller& who, const char* pAfter) override
    {
        return ToIdl(Ask<northbound::Servers>(who, {pAfter}));
    }

    Northbound::PartPiece* Fetch(const Northbound::Caller& who, const char* pOperation, CORBA::ULong nFirst,
                                 CORBA::ULongLong nOffset) override
    {
        return ToIdl(Ask<northbound::Fetch>(who, {pOperation, nFirst, nOffset}));
    }

    Northbound::PackResult* Pack(const Northbound::Caller& who, const Northbound::PackOrder& work) override
    {
        return ToIdl(Ask<northbound::Pack>(who, {work.method.in(), work.perArchive}));
    }

    Northbound::StoredFilePage* Files(const Northbound::Caller& who, const char* pAfter) override
    {
        return ToIdl(Ask<northbound::Files>(who, {pAfter}));
    }

    Northbound::CleanResult Clean(const Northbound::Caller& who) override
    {
        const Swept swept = Ask<northbound::Clean>(who, {});
        return {static_cast<CORBA::ULong>(swept.m_nFiles), swept.m_nBytes};
    }

    CORBA::Boolean SetItem(const Northbound::Caller& who, const char* pKey, const char* pValue) override
    {
        return Ask<northbound::SetItem>(who, {pKey, pValue}).m_bInForce;
    }

    Northbound::HugeTaskPage* HugeTasks(const Northbound::Caller& who, const char* pAfter) override
    {
        return ToIdl(Ask<northbound::HugeTasks>(who, {pAfter}));
    }

    Northbound::Bytes* PublicKey(const Northbound::Caller& who) override
    {
        return ToIdl(Ask<northbound::PublicKey>(who, {}));
    }

    CORBA::ULong SendSecret(const Northbound::Caller& who, const char* pCipher) override
    {
        return Ask<northbound::SendSecret>(who, {pCipher}).m_nBytes;
    }

    char* Challenge(const Northbound::Caller& who) override
    {
        return CORBA::string_dup(Ask<northbound::Challenge>(who, {}).m_Text.c_str());
    }

    char* Login(const Northbound::Caller& who, const char* pCipher) override
    {
        return CORBA::string_dup(Ask<northbound::Login>(who, {pCipher}).m_Key.c_str());
    }

    void Logout(const Northbound::Caller& who) override { Ask<northbound::Logout>(who, {}); }

    Northbound::UserSessionPage* Sessions(const Northbound::Caller& who, const char* pAfter) override
    {
        return ToIdl(Ask<northbound::Sessions>(who, {pAfter}));
    }

    void Stop(const Northbound::Caller& who) override { Ask<northbound::Stop>(who, {}); }

    Northbound::PoolReport* Pools(const Northbound::Caller& who) override
    {
        return ToIdl(Ask<northbound::Pools>(who, {}));
    }

private:
    /// \throws Northbound::OperationFailed
    template <class Operation>
    typename Operation::Result Ask(const Northbound::Caller& who, typename Operation::Request request)
    {
        const Peer& peer = CurrentPeer();
        Caller caller{who.user.in(), peer.m_Address, peer.m_bLocal, who.key.in()};
        caller.m_bEncrypted = peer.m_bEncrypted;
        caller.m_HasGone = WhetherGone(peer.m_nSocket, who.patience);
        auto outcome = m_Service.Ask<Operation>(caller, std::move(request));
        if (const Failure* const pFailure = std::get_if<Failure>(&outcome)) {
            throw Northbound::OperationFailed(pFailure->m_nCode, pFailure->m_Detail.c_str());
        }
        return std::get<typename Operation::Result>(std::move(outcome));
    }

    Service& m_Service;
};

}  // namespace

std::shared_ptr<PortableServer::ServantBase> MakeManagerServant(Service& service)
{
    return std::make_shared<ManagerServant>(service);
}

}  // namespace northbound
