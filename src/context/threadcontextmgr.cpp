#include "nbiutil/threadcontextmgr.h"

#include <ace/Log_Msg.h>
#include <pthread.h>

#include <memory>
#include <mutex>

#include "util/singleton.h"

namespace NS_UTIL {
namespace {

/// What hangs on a thread's key. The generation tells whether the registry that made it is still there.
struct ThreadRecord {
    ThreadContextInfo m_Info;
    unsigned long m_nGeneration = 0;
};

void DeleteRecord(void* pRecord)
{
    delete static_cast<ThreadRecord*>(pRecord);
}

/// The thread key of all registries, made at most once in a process and never given back: a running thread's
/// record must still find its cleanup when the registry is gone. A key used directly, since ACE's storage
/// template reads its own flag without a lock.
class RecordKey {
public:
    /// \return false when the process has no key left; the next call tries again.
    bool Get(pthread_key_t& key)
    {
        if (!m_bCreated.load(std::memory_order_acquire) && !Create()) return false;
        key = m_Key;
        return true;
    }

private:
    bool Create()
    {
        std::lock_guard<std::mutex> guard(m_KeyLock);
        if (m_bCreated.load(std::memory_order_relaxed)) return true;
        if (pthread_key_create(&m_Key, DeleteRecord) != 0) return false;
        m_bCreated.store(true, std::memory_order_release);
        return true;
    }

    std::mutex m_KeyLock;
    std::atomic<bool> m_bCreated{false};
    pthread_key_t m_Key = 0;  // written once, before m_bCreated is set
};

RecordKey g_Key;
std::atomic<unsigned long> g_nGenerations{0};

void ReportStorageFailure(int nError)
{
    constexpr const char* MODULE = "threadcontextmgr";
    constexpr int LINE = 90;  // part of the message, which filters match on
    ACE_Log_Msg* const pLog = ACE_Log_Msg::instance();
    pLog->conditional_set(MODULE, LINE, -1, nError);
    pLog->log(LM_ERROR, ACE_TEXT("%p\n"), ACE_TEXT("Error: ACE_Thread::setspecific() failed!"));
}

/// The calling thread's record, whatever its generation; null without storage.
ThreadRecord* StoredRecord(pthread_key_t key)
{
    if (void* const pFound = pthread_getspecific(key)) return static_cast<ThreadRecord*>(pFound);
    auto pRecord = std::make_unique<ThreadRecord>();
    const int nError = pthread_setspecific(key, pRecord.get());
    if (nError != 0) {
        ReportStorageFailure(nError);
        return nullptr;
    }
    return pRecord.release();
}

}  // namespace

std::atomic<ThreadContextMgr*> ThreadContextMgr::m_pInstance{nullptr};

ThreadContextMgr* ThreadContextMgr::Instance()
{
    return InstanceIn(m_pInstance, [] { return new ThreadContextMgr; });
}

void ThreadContextMgr::Destroy()
{
    DestroyIn(m_pInstance, [](ThreadContextMgr* pRegistry) { delete pRegistry; });
}

ThreadContextMgr::ThreadContextMgr() : m_nGeneration(++g_nGenerations)
{
}

ThreadContextInfo* ThreadContextMgr::Record()
{
    pthread_key_t key;
    if (!g_Key.Get(key)) return nullptr;
    ThreadRecord* const pRecord = StoredRecord(key);
    if (pRecord == nullptr) return nullptr;
    if (pRecord->m_nGeneration != m_nGeneration) {
        pRecord->m_Info = ThreadContextInfo();
        pRecord->m_nGeneration = m_nGeneration;
    }
    return &pRecord->m_Info;
}

// Deliberate: mode and type change places in every transfer, so the stored record holds them exchanged, and
// each copy handed out has them right again. Who sets a record and reads it back relies on the two transfers
// being alike.
void ThreadContextMgr::Transfer(const ThreadContextInfo& from, ThreadContextInfo& to)
{
    to.m_nThreadId = from.m_nThreadId;
    to.m_InterfaceName = from.m_InterfaceName;
    to.m_UserInfo = from.m_UserInfo;
    if (from.m_OperUUID.c_str()[0] == '\0') {
        to.SetOperUUID(std::string());
    } else {
        to.m_OperUUID.assign(from.m_OperUUID.c_str());  // ends at the first NUL, as GetOperUUID() does
    }
    to.SetHugeTskInfo(from.m_nTskNum, from.m_nTskMode, from.m_nTskType, from.m_TskMgr);
}

ThreadContextInfo ThreadContextMgr::GetThreadContext()
{
    ThreadContextInfo copy;
    if (const ThreadContextInfo* const pRecord = Record()) Transfer(*pRecord, copy);
    return copy;
}

void ThreadContextMgr::SetThreadContext(const ThreadContextInfo& info)
{
    if (ThreadContextInfo* const pRecord = Record()) Transfer(info, *pRecord);
}

void ThreadContextMgr::SetThreadContext(const int& id, const std::string& name)
{
    std::string interfaceName = std::to_string(id);
    if (!name.empty()) interfaceName += ' ' + name;
    ThreadContextInfo info;
    info.SetThreadID(static_cast<int>(static_cast<unsigned int>(pthread_self())));
    info.SetInterfaceName(interfaceName);
    info.SetOperUUID(std::string());
    SetThreadContext(info);
}

}  // namespace NS_UTIL
