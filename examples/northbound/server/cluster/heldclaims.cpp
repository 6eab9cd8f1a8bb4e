#include "server/cluster/heldclaims.h"

#include <time.h>

#include <algorithm>

namespace northbound {
namespace {

using Guard = std::lock_guard<std::mutex>;

}  // namespace

BootTime BootTimeNow()
{
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

const HeldClaims::Entry* HeldClaims::FindLocked(const CollectionClaim& claim) const
{
    const auto found = m_Entries.find(claim.m_Operation);
    return found != m_Entries.end() && found->second.m_nToken == claim.m_nToken ? &found->second : nullptr;
}

HeldClaims::Entry* HeldClaims::FindLocked(const CollectionClaim& claim)
{
    return const_cast<Entry*>(static_cast<const HeldClaims*>(this)->FindLocked(claim));
}

bool HeldClaims::IsLostLocked(const Entry& entry) const
{
    if (m_Now() - entry.m_Since >= m_Fence) entry.m_bLost = true;
    return entry.m_bLost;
}

void HeldClaims::Add(const Holding& holding, bool bCancelled, BootTime asked)
{
    Guard guard(m_Mutex);
    m_Entries[holding.m_Claim.m_Operation] = {holding.m_Claim.m_nToken, holding.m_nTaken, asked, bCancelled,
                                              holding.m_Order};
}

void HeldClaims::Remove(const CollectionClaim& claim)
{
    Guard guard(m_Mutex);
    if (FindLocked(claim) != nullptr) m_Entries.erase(claim.m_Operation);
}

void HeldClaims::Cancel(const std::string& operation)
{
    Guard guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    if (found != m_Entries.end()) found->second.m_bCancelled = true;
}

void HeldClaims::Report(const CollectionClaim& claim, unsigned int nTaken)
{
    Guard guard(m_Mutex);
    Entry* const pEntry = FindLocked(claim);
    if (pEntry != nullptr) pEntry->m_nTaken = nTaken;
}

Standing HeldClaims::StandingOf(const CollectionClaim& claim) const
{
    Guard guard(m_Mutex);
    const Entry* const pEntry = FindLocked(claim);
    if (pEntry == nullptr || IsLostLocked(*pEntry)) return Standing::LOST;
    return pEntry->m_bCancelled ? Standing::CANCELLED : Standing::HELD;
}

unsigned int HeldClaims::Taken(const CollectionClaim& claim) const
{
    Guard guard(m_Mutex);
    const Entry* const pEntry = FindLocked(claim);
    return pEntry == nullptr ? 0 : pEntry->m_nTaken;
}

std::optional<CollectionState> HeldClaims::Find(const std::string& operation) const
{
    Guard guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    if (found == m_Entries.end()) return std::nullopt;
    const Entry& entry = found->second;
    return CollectionState{entry.m_Order, CollectionPhase::RUNNING, entry.m_nTaken, entry.m_bCancelled};
}

std::vector<HeldClaims::Holding> HeldClaims::All()
{
    Guard guard(m_Mutex);
    std::vector<Holding> all;
    all.reserve(m_Entries.size());
    for (auto entry = m_Entries.begin(); entry != m_Entries.end();) {
        if (IsLostLocked(entry->second)) {
            entry = m_Entries.erase(entry);
        } else {
            all.push_back({{entry->first, entry->second.m_nToken}, entry->second.m_nTaken});
            ++entry;
        }
    }
    return all;
}

void HeldClaims::Renew(const std::vector<Holding>& asked, const std::vector<Renewed>& renewed, BootTime when)
{
    Guard guard(m_Mutex);
    for (const Holding& holding : asked) {
        Entry* const pEntry = FindLocked(holding.m_Claim);
        if (pEntry == nullptr || IsLostLocked(*pEntry)) continue;
        const auto found = std::find_if(renewed.begin(), renewed.end(), [&](const Renewed& one) {
            return one.m_Claim.m_Operation == holding.m_Claim.m_Operation &&
                   one.m_Claim.m_nToken == holding.m_Claim.m_nToken;
        });
        if (found == renewed.end()) {
            pEntry->m_bLost = true;
        } else {
            pEntry->m_Since = when;
            pEntry->m_bCancelled = pEntry->m_bCancelled || found->m_bCancelled;
        }
    }
}

}  // namespace northbound
