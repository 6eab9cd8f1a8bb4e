#include "server/operations/collectionrunner.h"

#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "nbihost/standalone.h"
#include "nbiutil/async.h"
#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"
#include "server/operations/perffile.h"
#include "server/serving/failure.h"
#include "server/serving/runinpool.h"
#include "shared/names.h"

namespace northbound {
namespace {

using NS_UTIL::ThreadContextInfo;

constexpr const char* MODULE = "collectionrunner";
constexpr unsigned int HUGE_POOL = 2;

/// A worker that has ended a collection deletes its task next. Only one that is kept from its core, or a pool
/// that stops, takes longer.
constexpr std::chrono::seconds LEAVING_TIME(1);

[[noreturn]] void ThrowRefused()
{
    ThrowFailure(NS_UTIL::ErrCode::HUGE_TASK_LIMIT, MODULE,
                 "as many collections are running as may, on the whole or at this port");
}

/// A place that is not given back because the book is away is free when the lease is over.
template <class Call>
void UnlessAway(Call call)
{
    try {
        call();
    } catch (const NS_UTIL::ProcessException& e) {
        nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s", e.what());
    }
}

/// Of all collections, however they were ordered.
const std::string COLLECTING = "3 collect";

/// Nobody else carries out what was ordered here, so it is claimed at once, and its place freed when it cannot be.
CollectionClaim ClaimOrdered(CollectionBook& book, const std::string& operation)
{
    try {
        const std::optional<ClaimedCollection> claimed = book.Claim(operation);
        if (claimed) return claimed->m_Claim;
    } catch (...) {
        book.Cancel(operation);
        throw;
    }
    ThrowFailure(ErrCode::INTERNAL, MODULE, "the collection " + operation + " is another one's");
}

/// \throws ProcessException HUGE_TASK_LIMIT; what the book throws
OrderAnswer Accepted(CollectionBook& book, const CollectionOrder& order)
{
    const OrderAnswer answer = book.Order(order);
    if (answer != OrderAnswer::FULL) return answer;
    NS_UTIL::NBITaskMgr::GetTaskMgr(HUGE_POOL)->CountRefused(NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
    ThrowRefused();
}

/// A collection's place in the book, which goes with its task.
class OrderedCollection {
public:
    /// \throws ProcessException HUGE_TASK_LIMIT; what the book throws
    OrderedCollection(CollectionBook& book, const CollectionOrder& order) : m_Book(book)
    {
        Accepted(m_Book, order);
        m_Claim = ClaimOrdered(m_Book, order.m_Operation);
    }
    ~OrderedCollection()
    {
        UnlessAway([this] { m_Book.Finish(m_Claim, {}); });
    }
    OrderedCollection(const OrderedCollection&) = delete;
    OrderedCollection& operator=(const OrderedCollection&) = delete;

    const CollectionClaim& Claim() const { return m_Claim; }

private:
    CollectionBook& m_Book;
    CollectionClaim m_Claim;
};

/// The place of a collection that nobody waits for. It goes with its task: who hears of the end may order the next one.
class OrderedPlace {
public:
    OrderedPlace(CollectionBook& book, CollectionClaim claim) : m_Claim(std::move(claim)), m_Book(book) {}
    ~OrderedPlace()
    {
        try {
            m_Book.Finish(m_Claim, m_End);
        } catch (const std::exception&) {  // there is no memory to keep the end
            UnlessAway([this] { m_Book.Finish(m_Claim, {}); });
        }
    }
    OrderedPlace(const OrderedPlace&) = delete;
    OrderedPlace& operator=(const OrderedPlace&) = delete;

    const CollectionClaim m_Claim;
    CollectionEnd m_End;

private:
    CollectionBook& m_Book;
};

void LogEnd(const CollectionEnd& end)
{
    if (end.m_nCode == 0) return;
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "the collection ends with code 0x%08X: %s", end.m_nCode,
                 end.m_Detail.c_str());
}

/// At its end the collection's place is free: whoever has the answer may order the next one.
class Departure {
public:
    Departure(const CollectionEnvironment& environment, const std::string& operation)
        : m_Environment(environment), m_Operation(operation)
    {
    }
    ~Departure()
    {
        if (m_Environment.m_Stop.IsRaised()) return;
        UnlessAway([this] { m_Environment.m_Book.AwaitEnd(m_Operation, LEAVING_TIME); });
    }
    Departure(const Departure&) = delete;
    Departure& operator=(const Departure&) = delete;

private:
    const CollectionEnvironment& m_Environment;
    const std::string& m_Operation;
};

/// \param nPerPort collections of \p dn that may run; one more still begins, and 0 sets no limit
NS_UTIL::HugeRequest HugeRequestFor(const std::string& dn, int nPerPort)
{
    NS_UTIL::HugeRequest huge;
    huge.Synchronous().Of(dn + " ");
    if (nPerPort > 0) huge.AtMost(nPerPort + 1);
    return huge;
}

/// The book tells operation UUIDs with their tags.
std::string Bare(const std::string& operation)
{
    ThreadContextInfo info;
    info.SetOperUUID(operation);
    return info.GetBareOperUUID();
}

RunningCollection RunningOf(const CollectionBook& book, const std::string& operation, const std::string& list)
{
    const std::optional<CollectionState> state = book.FindHeld(operation);
    if (!state) return {operation, list, {}, {}};  // it has just ended
    const CollectionOrder& order = state->m_Order;
    return {operation, list, order.m_Dn, order.m_User, state->m_nTaken, order.Samples()};
}

/// The request that a collection is carried out for, also where another server has accepted it.
ThreadContextInfo RequestOf(const CollectionOrder& order)
{
    ThreadContextInfo request = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
    request.SetInterfaceName(COLLECTING);
    request.SetUserInfo(order.m_User);
    request.SetOperUUID("<OpUUID>" + order.m_Operation + "</OpUUID>");
    NS_UTIL::HugeRequest huge;
    return huge.Asynchronous().Of(order.m_Dn + " ").ApplyTo(request);
}

}  // namespace

CollectionRunner::CollectionRunner(NS_UTIL::DBAgent& agent, CollectionEnvironment environment,
                                   std::function<void()> onEnd)
    : m_Agent(agent), m_Environment(std::move(environment)), m_OnEnd(std::move(onEnd))
{
}

OrderAnswer CollectionRunner::Accept(const CollectionOrder& order)
{
    return Accepted(m_Environment.m_Book, order);
}

OrderAnswer CollectionRunner::Order(const CollectionPlan& plan, const std::string& operation,
                                    const std::string& user)
{
    CollectionBook& book = m_Environment.m_Book;
    const CollectionOrder order{operation, plan.m_Dn, user, plan.m_nInterval, plan.m_nDuration};
    const OrderAnswer answer = Accept(order);
    if (answer != OrderAnswer::ACCEPTED) return answer;
    const auto pPlace = std::make_shared<OrderedPlace>(book, ClaimOrdered(book, operation));
    Start(order, [this, order, pPlace] {
        pPlace->m_End = EndOf({pPlace->m_Claim, order});
        LogEnd(pPlace->m_End);
        TellEnd();
    });
    return answer;
}

void CollectionRunner::Start(const CollectionOrder& order, std::function<void()> work)
{
    const NS_UTIL::RequestScope request(RequestOf(order));
    PushToPool(m_Agent, HUGE_POOL, std::move(work));
}

/// Behind what others have taken. The first sample, from which increases are counted, may be in a file of theirs.
CollectionPlan CollectionRunner::PlanOf(const ClaimedCollection& claimed) const
{
    const CollectionOrder& order = claimed.m_Order;
    const Element& element = m_Environment.m_Element;
    CollectionPlan plan{
        order.m_Dn, element.m_Machine.PortOf(order.m_Dn), order.m_nInterval, order.m_nDuration, {}};
    plan.m_nFirst = claimed.m_nTaken;
    if (plan.m_nFirst == 0) return plan;
    UnlessAway([&] {
        const std::optional<CollectionState> state = m_Environment.m_Book.Find(order.m_Operation);
        const auto shares = state ? m_Environment.m_Files.SharesOf(*state) : std::vector<CollectionShare>();
        if (shares.empty() || shares[0].m_Part.m_nFirst != 0) return;
        plan.m_Before = FirstFigures(shares[0].m_File, element.m_Catalogue);
    });
    return plan;
}

CollectionEnd CollectionRunner::EndOf(const ClaimedCollection& claimed) const
{
    try {
        CollectionOutcome outcome = TakeSamples(m_Environment, PlanOf(claimed), claimed.m_Claim);
        return {0, "", std::move(outcome.m_File), outcome.m_nLate, std::move(outcome.m_Increase)};
    } catch (NS_UTIL::ProcessException& e) {
        return {e.GetErrorCode(), e.GetDetail()};
    } catch (const std::exception& e) {
        return {ErrCode::INTERNAL, e.what()};
    }
}

CollectionOutcome CollectionRunner::Collect(const CollectionPlan& plan)
{
    CollectionBook& book = m_Environment.m_Book;
    const NS_UTIL::HugeScope huge(HugeRequestFor(plan.m_Dn, book.Limits().m_nPerPort));
    const ThreadContextInfo request = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
    const std::string operation = request.GetBareOperUUID();
    auto pOrdered = std::make_shared<const OrderedCollection>(
        book,
        CollectionOrder{operation, plan.m_Dn, request.GetUserInfo(), plan.m_nInterval, plan.m_nDuration});
    const Departure departure(m_Environment, operation);
    try {
        return ResultFromPool(m_Agent, HUGE_POOL, [this, plan, pOrdered = std::move(pOrdered)] {
            return TakeSamples(m_Environment, plan, pOrdered->Claim());
        });
    } catch (const NS_UTIL::ProcessException& e) {
        if (e.GetErrorCode() == NS_UTIL::ErrCode::HUGE_TASK_LIMIT) ThrowRefused();  // with a detail
        throw;
    }
}

std::vector<RunningCollection> CollectionRunner::Running() const
{
    std::map<std::string, std::list<std::string>> book;
    NS_UTIL::HugeTaskMgr::Instance()->GetHuTaskMap(book);
    std::vector<RunningCollection> running;
    for (const auto& [list, operations] : book) {
        for (const std::string& tagged : operations) {
            running.push_back(RunningOf(m_Environment.m_Book, Bare(tagged), list));
        }
    }
    return running;
}

}  // namespace northbound
