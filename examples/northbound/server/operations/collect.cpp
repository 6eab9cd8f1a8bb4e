#include "server/operations/collect.h"

#include <optional>

#include "nbihost/standalone.h"
#include "server/serving/failure.h"
#include "server/serving/safename.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "collect";

constexpr unsigned int MIN_INTERVAL = 10;                   // milliseconds
constexpr unsigned int MAX_DURATION = 24U * 3600U * 1000U;  // milliseconds

/// "ne=<name>,port=<name>", both as SafeName() has them.
bool IsWellFormed(const std::string& dn)
{
    const std::size_t nComma = dn.find(',');
    if (dn.compare(0, 3, "ne=") != 0 || nComma == std::string::npos) return false;
    if (dn.compare(nComma, 6, ",port=") != 0) return false;
    return !PlainName(dn.substr(3, nComma - 3)).empty() && !PlainName(dn.substr(nComma + 6)).empty();
}

/// A network element of several names keeps the one that was asked for: servers go by it.
std::string DnOf(const Machine& machine, const std::string& name, const std::string& port)
{
    return machine.IsOwn(name) ? name : machine.DistinguishedName(port);
}

}  // namespace

Collect::Result Collect::Run(const Request& request, const Caller& caller) const
{
    CollectionPlan plan = CheckedPlan(m_Element, request, m_Runner.ReachOf());
    plan.m_HasGone = caller.m_HasGone;
    const CollectionOutcome outcome = Carry(plan);
    return {plan.m_Dn,          outcome.m_Operation, outcome.m_File,
            outcome.m_nSamples, outcome.m_nLate,     Named(m_Element.m_Catalogue, outcome.m_Increase)};
}

CollectionOutcome Collect::Carry(const CollectionPlan& plan) const
{
    try {
        CollectionOutcome outcome = m_Runner.Collect(plan);
        m_OnEnd();
        return outcome;
    } catch (...) {
        m_OnEnd();  // what it has written so far stays
        throw;
    }
}

Cancel::Result Cancel::Run(const Request& request, const Caller& caller) const
{
    const std::optional<CollectionState> state = m_Book.Find(request.m_Operation);
    if (!state || state->m_Phase == CollectionPhase::ENDED) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                     "no collection \"" + request.m_Operation + "\" is under way");
    }
    if (caller.m_Role != Role::ADMIN && state->m_Order.m_User != caller.m_User) {
        ThrowFailure(ErrCode::NOT_ALLOWED, MODULE, "the collection is another user's");
    }
    m_Book.Cancel(request.m_Operation);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection %s is cancelled", request.m_Operation.c_str());
    return {};
}

/// Before the limits are asked: nothing that does not exist is ever counted under them.
CollectionPlan CheckedPlan(const Element& element, const Collect::Request& request, Reach reach)
{
    const bool bOwn =
        reach == Reach::OWN || element.m_Machine.IsOwn(request.m_Dn) || !IsWellFormed(request.m_Dn);
    const std::string port = bOwn ? element.m_Machine.PortOf(request.m_Dn) : "";
    if (request.m_nInterval < MIN_INTERVAL) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                     "an interval of " + std::to_string(request.m_nInterval) + " ms is below " +
                         std::to_string(MIN_INTERVAL) + " ms");
    }
    if (request.m_nDuration < request.m_nInterval || request.m_nDuration > MAX_DURATION) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                     "a duration of " + std::to_string(request.m_nDuration) +
                         " ms is shorter than the interval or longer than a day");
    }
    return {bOwn ? DnOf(element.m_Machine, request.m_Dn, port) : request.m_Dn,
            port,
            request.m_nInterval,
            request.m_nDuration,
            {}};
}

}  // namespace northbound
