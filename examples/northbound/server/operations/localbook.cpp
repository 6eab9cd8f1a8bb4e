#include "server/operations/localbook.h"

#include <algorithm>
#include <utility>

namespace northbound {
namespace {

using Guard = std::lock_guard<std::mutex>;

/// Of the only claim that each collection has.
constexpr std::uint64_t TOKEN = 1;

}  // namespace

void LocalBook::SetLimits(const CollectionLimits& limits)
{
    Guard guard(m_Mutex);
    m_Limits = limits;
}

CollectionLimits LocalBook::Limits() const
{
    Guard guard(m_Mutex);
    return m_Limits;
}

bool LocalBook::IsFullLocked(const std::string& dn) const
{
    if (m_Entries.size() >= static_cast<std::size_t>(m_Limits.m_nOverall)) return true;
    const auto found = m_PortCounts.find(dn);
    const int nAtPort = found == m_PortCounts.end() ? 0 : found->second;
    return m_Limits.m_nPerPort > 0 && nAtPort > m_Limits.m_nPerPort;
}

OrderAnswer LocalBook::Order(const CollectionOrder& order)
{
    Guard guard(m_Mutex);
    if (m_Entries.count(order.m_Operation) + m_Ended.count(order.m_Operation) > 0) return OrderAnswer::KNOWN;
    if (IsFullLocked(order.m_Dn)) return OrderAnswer::FULL;
    int& nAtPort = m_PortCounts[order.m_Dn];
    m_Entries[order.m_Operation] = {order};
    m_Entries[order.m_Operation].m_nPlace = m_nAccepted++;
    ++nAtPort;
    return OrderAnswer::ACCEPTED;
}

void LocalBook::Cancel(const std::string& operation)
{
    Guard guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    if (found == m_Entries.end()) return;
    CollectionState& state = found->second;
    state.m_bCancelled = true;
    if (state.m_Phase == CollectionPhase::WAITING) EraseLocked(found);
}

LocalBook::Entries::iterator LocalBook::ClaimableLocked(const std::string& operation)
{
    const auto isWaiting = [](const Entries::value_type& entry) {
        return entry.second.m_Phase == CollectionPhase::WAITING;
    };
    if (!operation.empty()) {
        const auto found = m_Entries.find(operation);
        return found != m_Entries.end() && isWaiting(*found) ? found : m_Entries.end();
    }
    auto oldest = m_Entries.end();
    for (auto entry = m_Entries.begin(); entry != m_Entries.end(); ++entry) {
        if (!isWaiting(*entry)) continue;
        if (oldest == m_Entries.end() || entry->second.m_nPlace < oldest->second.m_nPlace) oldest = entry;
    }
    return oldest;
}

std::optional<ClaimedCollection> LocalBook::Claim(const std::string& operation)
{
    Guard guard(m_Mutex);
    const auto entry = ClaimableLocked(operation);
    if (entry == m_Entries.end()) return std::nullopt;
    // One after the other: of a list g++ 12 destroys the claim twice when there is no memory for the order.
    ClaimedCollection claimed;
    claimed.m_Claim = {entry->first, TOKEN};
    claimed.m_Order = entry->second.m_Order;
    entry->second.m_Phase = CollectionPhase::RUNNING;
    return claimed;
}

bool LocalBook::IsHeldLocked(const CollectionClaim& claim) const
{
    const auto found = m_Entries.find(claim.m_Operation);
    return found != m_Entries.end() && claim.m_nToken == TOKEN &&
           found->second.m_Phase == CollectionPhase::RUNNING;
}

void LocalBook::Report(const CollectionClaim& claim, unsigned int nTaken)
{
    Guard guard(m_Mutex);
    if (IsHeldLocked(claim)) m_Entries.at(claim.m_Operation).m_nTaken = nTaken;
}

Standing LocalBook::StandingOf(const CollectionClaim& claim) const
{
    Guard guard(m_Mutex);
    if (!IsHeldLocked(claim)) return Standing::LOST;
    return m_Entries.at(claim.m_Operation).m_bCancelled ? Standing::CANCELLED : Standing::HELD;
}

bool LocalBook::Finish(const CollectionClaim& claim, const CollectionEnd& end)
{
    Guard guard(m_Mutex);
    if (!IsHeldLocked(claim)) return false;
    const auto entry = m_Entries.find(claim.m_Operation);
    if (end.m_nCode != ErrCode::NOT_CARRIED_OUT) KeepLocked(entry->second, end);
    EraseLocked(entry);
    return true;
}

/// The oldest one makes room.
void LocalBook::KeepLocked(CollectionState state, const CollectionEnd& end)
{
    const auto isOlder = [](const auto& left, const auto& right) {
        return left.second.m_nPlace < right.second.m_nPlace;
    };
    if (m_Ended.size() >= MOST_ENDED) {
        m_Ended.erase(std::min_element(m_Ended.begin(), m_Ended.end(), isOlder));
    }
    state.m_Phase = CollectionPhase::ENDED;
    state.m_End = end;
    m_Ended[state.m_Order.m_Operation] = std::move(state);
}

void LocalBook::EraseLocked(Entries::iterator entry)
{
    const auto port = m_PortCounts.find(entry->second.m_Order.m_Dn);
    if (--port->second == 0) m_PortCounts.erase(port);
    m_Entries.erase(entry);
    m_Left.notify_all();
}

bool LocalBook::AwaitEnd(const std::string& operation, std::chrono::milliseconds limit) const
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    return m_Left.wait_for(lock, limit, [&] { return m_Entries.count(operation) == 0; });
}

std::optional<CollectionState> LocalBook::Find(const std::string& operation) const
{
    Guard guard(m_Mutex);
    for (const Entries* const pEntries : {&m_Entries, &m_Ended}) {
        const auto found = pEntries->find(operation);
        if (found != pEntries->end()) return found->second;
    }
    return std::nullopt;
}

std::vector<CollectionState> LocalBook::Collections() const
{
    std::vector<CollectionState> states;
    {
        Guard guard(m_Mutex);
        states.reserve(m_Entries.size());
        for (const auto& entry : m_Entries) states.push_back(entry.second);
    }
    std::sort(states.begin(), states.end(), [](const CollectionState& left, const CollectionState& right) {
        return left.m_nPlace < right.m_nPlace;
    });
    return states;
}

}  // namespace northbound
