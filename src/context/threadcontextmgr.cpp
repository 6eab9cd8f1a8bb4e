#include "nbiutil/threadcontextmgr.h"

#include <ace/Log_Msg.h>
#include <pthread.h>

#include <cstring>
#include <memory>
#include <utility>

#include "base/singleton.h"
#include "context/taskcontext.h"

namespace NS_UTIL {

/// What hangs on a thread's key.
struct ThreadRecord {
    ThreadContextInfo m_Own;        // as it was set last; the next one uses its memory
    TaskContext::Stored m_pShared;  // with tasks: a copy of m_Own, or a task's that was installed
    const ThreadContextInfo* m_pCurrent = &m_Own;  // the record: m_Own or *m_pShared
    unsigned long m_nGeneration = 0;               // of the registry that made it
};

namespace {

constexpr const char* MODULE = "threadcontextmgr";
constexpr int STORAGE_FAILED_LINE = 90;  // part of the message, which filters match on

/// The calling thread's record, for look-ups that cost one load; the thread key beside it owns the record.
__attribute__((tls_model("initial-exec"))) thread_local ThreadRecord* t_pRecord = nullptr;

void DeleteRecord(void* pRecord)
{
    t_pRecord = nullptr;  // a later cleanup of the same thread may ask for a record again
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
        if (m_nKey.load(std::memory_order_acquire) == NONE && !Create()) return false;
        key = static_cast<pthread_key_t>(m_nKey.load(std::memory_order_acquire));
        return true;
    }

private:
    /// Of several threads that make one at the same time, the first keeps its own.
    bool Create()
    {
        pthread_key_t key = 0;
        if (pthread_key_create(&key, DeleteRecord) != 0) return m_nKey.load() != NONE;
        long nNone = NONE;
        if (!m_nKey.compare_exchange_strong(nNone, static_cast<long>(key))) pthread_key_delete(key);
        return true;
    }

    static constexpr long NONE = -1;
    std::atomic<long> m_nKey{NONE};
};

RecordKey g_Key;
std::atomic<unsigned long> g_nGenerations{0};

void ReportStorageFailure(int nError)
{
    ACE_Log_Msg* const pLog = ACE_Log_Msg::instance();
    pLog->conditional_set(MODULE, STORAGE_FAILED_LINE, -1, nError);
    pLog->log(LM_ERROR, ACE_TEXT("%p\n"), ACE_TEXT("Error: ACE_Thread::setspecific() failed!"));
}

/// Makes the calling thread's record; null without storage.
ThreadRecord* MakeRecord()
{
    pthread_key_t key;
    if (!g_Key.Get(key)) return nullptr;
    auto pRecord = std::make_unique<ThreadRecord>();
    const int nError = pthread_setspecific(key, pRecord.get());
    if (nError != 0) {
        ReportStorageFailure(nError);
        return nullptr;
    }
    t_pRecord = pRecord.release();
    return t_pRecord;
}

/// The calling thread's record as a new registry has it; null without storage. Apart, since every call of every request
/// asks for a record that is there.
__attribute__((noinline)) ThreadRecord* EmptyRecord(unsigned long nGeneration)
{
    ThreadRecord* const pRecord = t_pRecord != nullptr ? t_pRecord : MakeRecord();
    if (pRecord == nullptr) return nullptr;
    pRecord->m_Own = ThreadContextInfo();
    pRecord->m_pCurrent = &pRecord->m_Own;
    pRecord->m_pShared.reset();
    pRecord->m_nGeneration = nGeneration;
    return pRecord;
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

ThreadRecord* ThreadContextMgr::Record()
{
    ThreadRecord* const pRecord = t_pRecord;
    const bool bCurrent = pRecord != nullptr && pRecord->m_nGeneration == m_nGeneration;
    return bCurrent ? pRecord : EmptyRecord(m_nGeneration);
}

// Deliberate: mode and type change places in both transfers below, so stored records, those of tasks among them,
// hold them exchanged, and each copy handed out has them right again. Who sets a record and reads it back relies
// on the two being alike.

ThreadContextInfo TaskContext::CopyOf(const ThreadContextInfo& stored)
{
    ThreadContextInfo copy = stored;
    std::swap(copy.m_nTskMode, copy.m_nTskType);
    return copy;
}

ThreadContextInfo ThreadContextMgr::GetThreadContext()
{
    const ThreadRecord* const pRecord = Record();
    ThreadContextInfo copy =
        pRecord != nullptr ? TaskContext::CopyOf(*pRecord->m_pCurrent) : ThreadContextInfo();
    if (pRecord != nullptr && copy.m_OperUUID.empty()) copy.SetOperUUID(std::string());
    return copy;
}

void ThreadContextMgr::SetThreadContext(const ThreadContextInfo& info)
{
    ThreadRecord* const pRecord = Record();
    if (pRecord == nullptr) return;
    pRecord->m_Own = info;
    std::swap(pRecord->m_Own.m_nTskMode, pRecord->m_Own.m_nTskType);
    std::string& uuid = pRecord->m_Own.m_OperUUID;
    const std::size_t nLength = std::strlen(uuid.c_str());
    if (nLength != uuid.size()) uuid.resize(nLength);  // as GetOperUUID() cuts it
    if (nLength == 0) pRecord->m_Own.SetOperUUID(std::string());
    pRecord->m_pCurrent = &pRecord->m_Own;
    pRecord->m_pShared.reset();
}

TaskContext::Stored TaskContext::Share()
{
    ThreadContextMgr* const pRegistry = ThreadContextMgr::Instance();
    ThreadRecord* const pRecord = pRegistry != nullptr ? pRegistry->Record() : nullptr;
    if (pRecord == nullptr) return std::make_shared<const ThreadContextInfo>();
    if (pRecord->m_pShared != nullptr) return pRecord->m_pShared;
    auto pShared = std::make_shared<ThreadContextInfo>(pRecord->m_Own);
    if (pShared->m_OperUUID.empty()) {
        pShared->SetOperUUID(std::string());  // each copy's own, so it is not shared
    } else {
        pRecord->m_pShared = pShared;
    }
    return pShared;
}

void TaskContext::Install(const Stored& pStored)
{
    ThreadContextMgr* const pRegistry = ThreadContextMgr::Instance();
    ThreadRecord* const pRecord = pRegistry != nullptr ? pRegistry->Record() : nullptr;
    if (pRecord == nullptr) return;
    if (pStored->m_OperUUID.empty()) {
        return pRegistry->SetThreadContext(CopyOf(*pStored));  // with a fresh one
    }
    pRecord->m_pShared = pStored;
    pRecord->m_pCurrent = pStored.get();
}

void ThreadContextMgr::SetThreadContext(const int& nId, const std::string& name)
{
    std::string interfaceName = std::to_string(nId);
    if (!name.empty()) interfaceName += ' ' + name;
    ThreadContextInfo info;
    info.SetThreadID(static_cast<int>(static_cast<unsigned int>(pthread_self())));
    info.SetInterfaceName(interfaceName);
    SetThreadContext(info);
}

}  // namespace NS_UTIL
