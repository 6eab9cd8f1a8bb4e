// The framework of the standalone host: its state and its table of services.
#include "framework.h"

#include "nbihost/logservice.h"
#include "nbiutil/processexception.h"

namespace NS_BUNDLEMGR1 {

BundleMgr* BundleMgr::Instance()
{
    return &nbihost::Framework::Instance();
}

int CheckIFBuf(const std::string& interfaceName)
{
    return nbihost::Framework::Instance().NumberOf(interfaceName);
}

}  // namespace NS_BUNDLEMGR1

namespace nbihost {

Framework& Framework::Instance()
{
    // Deliberate: never deleted, since a detached thread may still ask for the state while the process ends.
    static auto* pFramework = new Framework;
    return *pFramework;
}

int Framework::GetState()
{
    return m_nState.load(std::memory_order_acquire);
}

void Framework::SetState(int nState)
{
    m_nState.store(nState, std::memory_order_release);
}

void Framework::Register(const std::string& interfaceName, NS_BUNDLEMGR1::ServiceInterface* pService)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    for (Entry& entry : m_Entries) {
        if (entry.m_Name == interfaceName) {
            entry.m_pService = pService;
            return;
        }
    }
    m_Entries.push_back(Entry{interfaceName, pService});
}

int Framework::NumberOf(const std::string& interfaceName)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    for (std::size_t i = 0; i < m_Entries.size(); ++i) {
        if (m_Entries[i].m_Name == interfaceName) return static_cast<int>(i);
    }
    return -1;
}

NS_BUNDLEMGR1::ServiceInterface* Framework::GetService(int nInterface)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    const auto nIndex = static_cast<std::size_t>(nInterface);
    if (nInterface < 0 || nIndex >= m_Entries.size() || m_Entries[nIndex].m_pService == nullptr) {
        throw NS_UTIL::InterfaceNotExistException();
    }
    return m_Entries[nIndex].m_pService;
}

}  // namespace nbihost
