#include "server/operations/collectionboard.h"

namespace northbound {

void CollectionBoard::Enter(const std::string& operation, const CollectionProgress& progress)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Entries[operation] = progress;
}

void CollectionBoard::Step(const std::string& operation)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    if (found != m_Entries.end()) ++found->second.m_nTaken;
}

void CollectionBoard::Leave(const std::string& operation)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Entries.erase(operation);
}

CollectionProgress CollectionBoard::Find(const std::string& operation) const
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    const auto found = m_Entries.find(operation);
    return found == m_Entries.end() ? CollectionProgress() : found->second;
}

}  // namespace northbound
