#include "server/operations/collectionboard.h"

#include <chrono>

namespace northbound {
namespace {

using Guard = std::lock_guard<std::mutex>;

/// A worker that has ended a collection deletes its task next. Only one that is kept from its core, or a pool
/// that stops, takes longer.
constexpr std::chrono::seconds LEAVING_TIME(1);

}  // namespace

void CollectionBoard::SetLimits(const CollectionLimits& limits)
{
    const Guard guard(m_Mutex);
    m_Limits = limits;
}

CollectionLimits CollectionBoard::Limits() const
{
    const Guard guard(m_Mutex);
    return m_Limits;
}

bool CollectionBoard::IsFullLocked(const std::string& dn) const
{
    if (m_Entries.size() >= static_cast<std::size_t>(m_Limits.m_nOverall)) return true;
    const auto found = m_PortCounts.find(dn);
    const int nAtPort = found == m_PortCounts.end() ? 0 : found->second;
    return m_Limits.m_nPerPort > 0 && nAtPort > m_Limits.m_nPerPort;
}

bool CollectionBoard::Enter(const std::string& operation, const CollectionProgress& progress)
{
    const Guard guard(m_Mutex);
    if (IsFullLocked(progress.m_Dn)) return false;
    m_Entries[operation] = progress;
    ++m_PortCounts[progress.m_Dn];
    return true;
}

void CollectionBoard::Step(const std::string& operation)
{
    const Guard guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    if (found != m_Entries.end()) ++found->second.m_nTaken;
}

void CollectionBoard::Cancel(const std::string& operation)
{
    const Guard guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    if (found != m_Entries.end()) found->second.m_bCancelled = true;
}

void CollectionBoard::Leave(const std::string& operation)
{
    const Guard guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    if (found == m_Entries.end()) return;
    const auto port = m_PortCounts.find(found->second.m_Dn);
    if (--port->second == 0) m_PortCounts.erase(port);
    m_Entries.erase(found);
    m_Left.notify_all();
}

void CollectionBoard::AwaitLeave(const std::string& operation) const
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Left.wait_for(lock, LEAVING_TIME, [&] { return m_Entries.count(operation) == 0; });
}

CollectionProgress CollectionBoard::Find(const std::string& operation) const
{
    const Guard guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    return found == m_Entries.end() ? CollectionProgress() : found->second;
}

}  // namespace northbound
