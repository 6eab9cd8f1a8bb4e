#include "nbiutil/hugetask.h"

#include <algorithm>

#include "base/lockguard.h"
#include "base/singleton.h"
#include "context/currentcontext.h"
#include "log/log.h"
#include "nbiutil/threadcontextinfo.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "hugetask";
constexpr SourceMark ENTERED_NEW_KEY{MODULE, 67};
constexpr SourceMark ENTERED_EMPTY_KEY{MODULE, 74};
constexpr SourceMark ENTERED_ANOTHER{MODULE, 81};
constexpr SourceMark ENTERED_ALREADY{MODULE, 85};
constexpr SourceMark REMOVED{MODULE, 114};
constexpr SourceMark REMOVED_NO_UUID{MODULE, 118};
constexpr SourceMark REMOVED_NO_KEY{MODULE, 128};
constexpr SourceMark OVER_SINGLE_LIMIT{MODULE, 201};
constexpr SourceMark OVERALL_LIMIT{MODULE, 221};

constexpr int SYNCHRONOUS = -1;
constexpr int ASYNCHRONOUS = 0;

bool IsHugeTaskOfType(int nType)
{
    const ThreadContextInfo info = CurrentContext();
    // Deliberate: a task number of 0 counts here, though it sets no limit in IsOverSingleHTaskNum().
    return info.GetTskNum() >= 0 && info.GetTskType() == nType;
}

}  // namespace

std::atomic<HugeTaskMgr*> HugeTaskMgr::m_pInstance{nullptr};

HugeTaskMgr::HugeTaskMgr() : m_pManagerLock(std::make_unique<ACE_Thread_Mutex>())
{
}

HugeTaskMgr::~HugeTaskMgr() = default;

HugeTaskMgr* HugeTaskMgr::Instance()
{
    return InstanceIn(m_pInstance, [] { return new HugeTaskMgr; });
}

void HugeTaskMgr::Destroy()
{
    DestroyIn(m_pInstance, [](HugeTaskMgr* pBook) { delete pBook; });
}

void HugeTaskMgr::Init(const unsigned int& nMaxNum)
{
    m_nMax.store(nMaxNum, std::memory_order_release);
}

bool HugeTaskMgr::IsSynHTsk()
{
    return IsHugeTaskOfType(SYNCHRONOUS);
}

bool HugeTaskMgr::IsAynHTsk()
{
    return IsHugeTaskOfType(ASYNCHRONOUS);
}

unsigned int HugeTaskMgr::GetHTskNum()
{
    MutexGuard guard(*m_pManagerLock);
    return m_nTotal;
}

unsigned int HugeTaskMgr::GetHTskMax() const
{
    return m_nMax.load(std::memory_order_acquire);
}

bool HugeTaskMgr::IsOverHTaskNum()
{
    if (m_nMax.load(std::memory_order_acquire) > GetHTskNum()) return false;
    WriteLog(OVERALL_LIMIT, "WARNING:[HugeTaskMgr]  IsOverHTaskNum ");
    return true;
}

bool HugeTaskMgr::IsOverSingleHTaskNum()
{
    const ThreadContextInfo info = CurrentContext();
    const int nLimit = info.GetTskNum();
    if (nLimit < 1) return false;
    std::size_t nRunning = 0;
    {
        MutexGuard guard(*m_pManagerLock);
        // Deliberate: asking enters the kind, so that whoever reads the book sees every kind that was asked
        // for.
        nRunning = m_HugeTasks[info.GetTskInfo()].size();
    }
    if (static_cast<std::size_t>(nLimit) >= nRunning) return false;
    // Deliberate: the second figure is the limit, though the text announces a name. Log searches match the
    // text.
    WriteLog(OVER_SINGLE_LIMIT, "[HugeTaskMgr]  IsOverSingleHTaskNum mastaer mapsize = %d and func %s",
             static_cast<int>(nRunning), std::to_string(nLimit).c_str());
    return true;
}

/// GetTskInfo() of \p info. A key that has been asked for once needs no memory when it is asked for again: the
/// task that is taken out of the book was entered before.
const std::string& HugeTaskMgr::KeyOfLocked(const ThreadContextInfo& info)
{
    return m_Key.assign(info.m_TskMgr).append(info.m_InterfaceName);
}

void HugeTaskMgr::SetHTskInfo(const ThreadContextInfo& info)
{
    const std::string uuid = info.GetOperUUID();
    MutexGuard guard(*m_pManagerLock);
    const std::string& key = KeyOfLocked(info);
    const auto [found, bNewKey] = m_HugeTasks.try_emplace(key);
    std::list<std::string>& running = found->second;
    if (std::find(running.begin(), running.end(), uuid) != running.end()) {
        WriteLog(ENTERED_ALREADY, "[HugeTaskMgr]  SetHTskInfo same uuid = %s and func %s", uuid.c_str(),
                 key.c_str());
        return;
    }
    const bool bFirst = running.empty();
    running.push_back(uuid);
    ++m_nTotal;
    if (bNewKey) {
        WriteLog(ENTERED_NEW_KEY, "[HugeTaskMgr]  SetHTskInfo not found task uuid = %s and func %s",
                 uuid.c_str(), key.c_str());
    } else if (bFirst) {
        WriteLog(ENTERED_EMPTY_KEY, "[HugeTaskMgr]  SetHTskInfo found task uuid = %s and func %s",
                 uuid.c_str(), key.c_str());
    } else {
        WriteLog(ENTERED_ANOTHER, "[HugeTaskMgr]  SetHTskInfo  found differtask uuid = %s and func %s",
                 uuid.c_str(), key.c_str());
    }
}

void HugeTaskMgr::RemoveHTskInfo(const ThreadContextInfo& info)
{
    const char* const pUuid = info.m_OperUUID.c_str();
    MutexGuard guard(*m_pManagerLock);
    const std::string& key = KeyOfLocked(info);
    const auto found = m_HugeTasks.find(key);
    if (found == m_HugeTasks.end()) {
        WriteLog(REMOVED_NO_KEY, "[HugeTaskMgr::RemoveHTskInfo] nothing uuid = %s and func %s", pUuid,
                 key.c_str());
        return;
    }
    std::list<std::string>& running = found->second;
    if (!running.empty()) {
        const auto entry = std::find(running.begin(), running.end(), pUuid);
        if (entry != running.end()) {
            running.erase(entry);
            --m_nTotal;
            WriteLog(REMOVED, "[HugeTaskMgr::RemoveHTskInfo]  task uuid = %s and func %s", pUuid,
                     key.c_str());
        } else {
            WriteLog(REMOVED_NO_UUID, "[HugeTaskMgr::RemoveHTskInfo]  no uuid = %s and func %s", pUuid,
                     key.c_str());
        }
    }
    if (running.empty()) m_HugeTasks.erase(found);
}

void HugeTaskMgr::GetHuTaskMap(std::map<std::string, std::list<std::string>>& out)
{
    MutexGuard guard(*m_pManagerLock);
    out = m_HugeTasks;
}

}  // namespace NS_UTIL
