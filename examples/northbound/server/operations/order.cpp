#include "server/operations/order.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "nbihost/standalone.h"
#include "server/serving/failure.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "order";

/// How long a wait goes on that nobody wants any more.
constexpr std::chrono::milliseconds LOOK(250);

/// The text becomes part of file names.
bool IsUuid(const std::string& text)
{
    constexpr const char* PATTERN = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    constexpr const char* DIGITS = "0123456789abcdef";
    if (text.size() != std::char_traits<char>::length(PATTERN)) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool bDigit = std::string(DIGITS).find(text[i]) != std::string::npos;
        if (PATTERN[i] == 'x' ? !bDigit : text[i] != '-') return false;
    }
    return true;
}

}  // namespace

Order::Result Order::Run(const Request& request, const Caller& caller) const
{
    if (!IsUuid(request.m_Operation)) {
        ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                     "\"" + request.m_Operation + "\" is no UUID of lower-case hexadecimal digits");
    }
    const CollectionPlan plan = CheckedPlan(m_Element, request.m_Work, m_Runner.ReachOf());
    const bool bKnown = m_Runner.Order(plan, request.m_Operation, caller.m_User) == OrderAnswer::KNOWN;
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection %s of %s is %s", request.m_Operation.c_str(),
                 plan.m_Dn.c_str(), bKnown ? "known" : "accepted");
    return {bKnown};
}

void Await::Wait(const Request& request, const Caller& caller) const
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end =
        Clock::now() + std::chrono::milliseconds(std::min(request.m_nLimit, LONGEST));
    for (Clock::time_point now = Clock::now(); now < end && !m_Stop.IsRaised(); now = Clock::now()) {
        if (caller.m_HasGone && caller.m_HasGone()) return;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
        if (m_Book.AwaitEnd(request.m_Operation, std::min(left, LOOK))) return;
    }
}

Await::Result Await::Run(const Request& request, const Caller& caller) const
{
    Wait(request, caller);
    std::optional<CollectionState> state = m_Book.Find(request.m_Operation);
    if (!state) {
        ThrowFailure(ErrCode::UNKNOWN_OPERATION, MODULE,
                     "no collection \"" + request.m_Operation + "\" was ordered, or it is forgotten");
    }
    Result progress{std::move(*state), {}, {}};
    progress.m_Shares = m_Files.SharesOf(progress.m_State);
    if (progress.m_State.m_Phase == CollectionPhase::ENDED && progress.m_State.m_End.m_nCode == 0) {
        progress.m_Increase = Named(m_Element.m_Catalogue, progress.m_State.m_End.m_Increase);
    }
    return progress;
}

std::string OpenOrder::Key() const
{
    constexpr std::size_t DIGITS = 20;
    const std::string place = std::to_string(m_State.m_nPlace);
    return std::string(DIGITS - place.size(), '0') + place;
}

Orders::Result Orders::Run(const Request& request, const Caller& /*caller*/) const
{
    std::vector<OpenOrder> all;
    for (CollectionState& state : m_Book.Collections()) {
        const bool bHeld = state.m_Phase == CollectionPhase::RUNNING && !state.m_Parts.empty();
        std::string server = bHeld ? state.m_Parts.back().m_Server : "";
        all.push_back({std::move(state), std::move(server)});
    }
    return PageBehind(request.m_After, std::move(all));
}

}  // namespace northbound
