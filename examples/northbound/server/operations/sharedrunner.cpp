#include "server/operations/sharedrunner.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "nbihost/standalone.h"
#include "nbiutil/async.h"
#include "nbiutil/poolsnapshot.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextmgr.h"
#include "server/serving/failure.h"
#include "shared/names.h"

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* MODULE = "sharedrunner";

/// How long Collect() goes on where nobody wants it any more, and where its book is away.
constexpr std::chrono::milliseconds LOOK(250);
constexpr std::chrono::minutes BOOK_PATIENCE(1);

bool IsAway(NS_UTIL::ProcessException& failure)
{
    return failure.GetErrorCode() == ErrCode::BOOK_AWAY;
}

}  // namespace

/// A worker's, from the claim to the end of its task, however that ends.
class SharedRunner::Place {
public:
    explicit Place(SharedRunner& runner) : m_Runner(runner) { ++m_Runner.m_nInHand; }
    ~Place()
    {
        --m_Runner.m_nInHand;
        m_Runner.Wake();
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

private:
    SharedRunner& m_Runner;
};

SharedRunner::SharedRunner(NS_UTIL::DBAgent& agent, CollectionEnvironment environment,
                           std::function<void()> onEnd, const BookTimes& times)
    : CollectionRunner(agent, std::move(environment), std::move(onEnd)), m_Times(times)
{
}

SharedRunner::~SharedRunner() = default;

void SharedRunner::Begin()
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_pRenewal = std::make_unique<Recurring>([this] { return Renew(); });
    m_pTaking = std::make_unique<Recurring>([this] { return Take(); });
}

void SharedRunner::End()
{
    std::unique_ptr<Recurring> pRenewal;
    std::unique_ptr<Recurring> pTaking;
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        pRenewal = std::move(m_pRenewal);
        pTaking = std::move(m_pTaking);
    }
    if (!pRenewal) return;
    pTaking.reset();
    pRenewal.reset();
    try {
        Environment().m_Book.Leave();
        nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "this server has left the shared book");
    } catch (const std::exception& e) {
        nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "%s; others go on when the leases are over",
                     e.what());
    }
}

void SharedRunner::Wake()
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    if (m_pTaking) m_pTaking->Wake();
}

/// A renewal that fails is tried again soon: what is not renewed is lost at the fence.
std::chrono::milliseconds SharedRunner::Renew()
{
    try {
        Environment().m_Book.Renew();
        if (std::exchange(m_bAway, false)) {
            nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "the shared book is back");
        }
        return m_Times.m_Renewal;
    } catch (const std::exception& e) {
        if (!std::exchange(m_bAway, true)) {
            nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE,
                         "%s; no collection is accepted, and what runs goes on for the rest of its lease",
                         e.what());
        }
        return std::min(m_Times.m_Look, m_Times.m_Renewal);
    }
}

/// A book that is away is the renewal's to tell.
std::chrono::milliseconds SharedRunner::Take()
{
    try {
        while (TakeOne()) {
        }
    } catch (NS_UTIL::ProcessException& e) {
        if (!IsAway(e)) nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "%s", e.what());
    } catch (const std::exception& e) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "%s", e.what());
    }
    return m_Times.m_Look;
}

/// The pools are made with their first task.
bool SharedRunner::HasRoom() const
{
    unsigned int nWorkers = 1;
    for (const NS_UTIL::PoolSnapshot& pool : NS_UTIL::TakePoolSnapshots()) {
        if (pool.m_nNumber == NS_UTIL::HUGE_POOL) nWorkers = std::max(nWorkers, pool.m_nWorkers);
    }
    const auto nLimit = static_cast<unsigned int>(std::max(Environment().m_Book.Limits().m_nOverall, 0));
    return m_nInHand < std::min(nLimit, nWorkers);
}

/// \return false when there is nothing to take
bool SharedRunner::TakeOne()
{
    CollectionBook& book = Environment().m_Book;
    if (Environment().m_Stop.IsRaised() || !HasRoom()) return false;
    const std::optional<ClaimedCollection> claimed = book.Claim("");
    if (!claimed) return false;
    try {
        Start(claimed->m_Order,
              [this, claimed = *claimed, pPlace = std::make_shared<Place>(*this)] { Carry(claimed); });
    } catch (...) {
        book.Abandon(claimed->m_Claim);
        throw;
    }
    return true;
}

void SharedRunner::Carry(const ClaimedCollection& claimed) const
{
    CollectionBook& book = Environment().m_Book;
    const CollectionEnd end = EndOf(claimed);
    if (book.StandingOf(claimed.m_Claim) == Standing::LOST) {
        nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "left to other servers: %s", end.m_Detail.c_str());
        book.Abandon(claimed.m_Claim);
    } else if (end.m_nCode == ErrCode::CUT_SHORT && Environment().m_Stop.IsRaised()) {
        nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "given back: %s", end.m_Detail.c_str());
    } else {
        Finish(claimed.m_Claim, end);
    }
    TellEnd();
}

/// Again and again while the book is away, for as long as nobody else may go on with the collection.
void SharedRunner::Finish(const CollectionClaim& claim, const CollectionEnd& end) const
{
    const CollectionEnvironment& environment = Environment();
    while (!TryToFinish(claim, end)) {
        const bool bStops = environment.m_Stop.WaitUntil(Clock::now() + m_Times.m_Look);
        if (!bStops && environment.m_Book.StandingOf(claim) != Standing::LOST) continue;
        nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "the shared book was not told of the end");
        return environment.m_Book.Abandon(claim);
    }
}

/// \return false when it may be tried again
bool SharedRunner::TryToFinish(const CollectionClaim& claim, const CollectionEnd& end) const
{
    CollectionBook& book = Environment().m_Book;
    try {
        const bool bCounts = book.Finish(claim, end);
        nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection %s %s; code 0x%08X %s",
                     claim.m_Operation.c_str(),
                     bCounts ? "has ended" : "is another server's, and this end does not count", end.m_nCode,
                     end.m_Detail.c_str());
        return true;
    } catch (NS_UTIL::ProcessException& e) {
        if (IsAway(e)) return false;
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "%s", e.what());
        book.Abandon(claim);
        return true;
    }
}

OrderAnswer SharedRunner::Order(const CollectionPlan& plan, const std::string& operation,
                                const std::string& user)
{
    const OrderAnswer answer = Accept({operation, plan.m_Dn, user, plan.m_nInterval, plan.m_nDuration});
    Wake();
    return answer;
}

void SharedRunner::CheckWaiting(const CollectionPlan& plan, const std::string& operation) const
{
    const CollectionEnvironment& environment = Environment();
    if (plan.m_HasGone && plan.m_HasGone()) {
        environment.m_Book.Cancel(operation);
        ThrowFailure(ErrCode::CANCELLED, MODULE, "the caller has gone");
    }
    if (!environment.m_Stop.IsRaised()) return;
    ThrowFailure(ErrCode::CUT_SHORT, MODULE, "the server stopped; others go on with collection " + operation);
}

CollectionState SharedRunner::EndedState(const CollectionPlan& plan, const std::string& operation) const
{
    const CollectionBook& book = Environment().m_Book;
    Clock::time_point answered = Clock::now();
    for (;;) {
        CheckWaiting(plan, operation);
        try {
            const bool bEnded = book.AwaitEnd(operation, LOOK);
            std::optional<CollectionState> state = bEnded ? book.Find(operation) : std::nullopt;
            if (state) return std::move(*state);
            if (bEnded) {
                ThrowFailure(ErrCode::UNKNOWN_OPERATION, MODULE, "the book has forgotten " + operation);
            }
            answered = Clock::now();
        } catch (NS_UTIL::ProcessException& e) {
            if (!IsAway(e) || Clock::now() - answered > BOOK_PATIENCE) throw;
            Environment().m_Stop.WaitUntil(Clock::now() + LOOK);
        }
    }
}

CollectionOutcome SharedRunner::Collect(const CollectionPlan& plan)
{
    const NS_UTIL::ThreadContextInfo request = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
    const std::string operation = request.GetBareOperUUID();
    Order(plan, operation, request.GetUserInfo());
    CollectionState state = EndedState(plan, operation);
    if (state.m_End.m_nCode != 0) ThrowFailure(state.m_End.m_nCode, MODULE, state.m_End.m_Detail);
    return {operation, std::move(state.m_End.m_File), plan.Samples(), state.m_End.m_nLate,
            std::move(state.m_End.m_Increase)};
}

}  // namespace northbound
