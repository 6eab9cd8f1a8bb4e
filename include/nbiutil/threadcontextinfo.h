/// \file
/// The record of who is doing what on a thread, and the source of its operation UUIDs.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "nbiutil/export.h"

class ACE_Thread_Mutex;
namespace ACE_Utils {
class UUID_Generator;
}

namespace NS_UTIL {

/// The huge-task information of a request: whether it is a long-running one, and which limit it counts
/// against.
/// Ownership: a plain value. Threads: one at a time. Errors: none; no value is checked.
struct TskInfo {
    int m_nTskNum = 0;     ///< limit of concurrent huge tasks of the request's kind; negative: no huge task
    int m_nTskMode = 0;    ///< 0: ordinary task; otherwise huge (long-running)
    int m_nTskType = 0;    ///< -1: synchronous huge task; 0: asynchronous huge task
    std::string m_TskMgr;  ///< with the interface name the key of huge-task accounting
};

/// The record of one request: the thread, the interface (operation) being served, the user, the operation
/// UUID that ties its log lines and tasks together, and its huge-task information.
///
/// Ownership: a plain value; copies share nothing.
/// Threads: a record belongs to one thread at a time; it has no lock.
/// Errors: none; no value is checked. Without a UUID generator (see ACE_UUID_Generator::Instance()) a fresh
/// UUID is the empty text.
class NBI_EXPORT ThreadContextInfo {
public:
    /// Everything 0 or empty; the operation UUID too, until SetOperUUID() gives one.
    ThreadContextInfo() = default;

    /// Copies every value.
    /// \param operUUID stored as it stands, even when empty
    /// \param tskInfo  only read
    ThreadContextInfo(const int& nThreadId, const std::string& interfaceName, const std::string& userInfo,
                      const std::string& operUUID, TskInfo& tskInfo);

    ThreadContextInfo(const ThreadContextInfo&) = default;
    ThreadContextInfo& operator=(const ThreadContextInfo&) = default;
    virtual ~ThreadContextInfo() = default;

    /// Thread id, interface name, user info and operation UUID as stored. Deliberate: the four task values do
    /// not count, since one request keeps its identity while its huge-task figures change.
    bool operator==(const ThreadContextInfo& other) const;
    bool operator!=(const ThreadContextInfo& other) const { return !(*this == other); }

    int GetThreadId() const { return m_nThreadId; }
    std::string GetInterfaceName() const { return m_InterfaceName; }
    std::string GetUserInfo() const { return m_UserInfo; }
    /// The stored text up to its first NUL character.
    std::string GetOperUUID() const
    {
        return m_OperUUID.c_str();  // NOLINT(readability-redundant-string-cstr): it ends at the NUL
    }
    int GetTskNum() const { return m_nTskNum; }
    int GetTskMode() const { return m_nTskMode; }
    int GetTskType() const { return m_nTskType; }
    std::string GetTskMgr() const { return m_TskMgr; }
    /// Task manager text followed by the interface name, without a separator: the key of huge-task
    /// accounting.
    std::string GetTskInfo() const { return m_TskMgr + m_InterfaceName; }

    void SetThreadID(const int& nThreadId) { m_nThreadId = nThreadId; }
    void SetInterfaceName(const std::string& interfaceName) { m_InterfaceName = interfaceName; }
    void SetUserInfo(const std::string& userInfo) { m_UserInfo = userInfo; }

    /// Mind the order: type before mode.
    /// \param nTskNum  see TskInfo::m_nTskNum; likewise the others
    void SetHugeTskInfo(const int& nTskNum, const int& nTskType, const int& nTskMode,
                        const std::string& tskMgr);

    /// Stores an operation UUID.
    /// \param uuid stored as it stands: who brings a UUID brings the tags too, or none. An empty text
    ///             stores a fresh UUID between "<OpUUID>" and "</OpUUID>".
    void SetOperUUID(const std::string& uuid);

    /// Makes a UUID; no record is touched. Threads: any.
    /// \return a fresh UUID text without tags; empty without a generator
    static std::string GenerateUUID();

    /// GetOperUUID() without the tags that SetOperUUID() puts around a UUID of its own: the name of a request
    /// where tags are in the way, as in a file's name.
    /// \return the text as it stands when it does not both begin and end with its tag
    std::string GetBareOperUUID() const;

private:
    friend class ThreadContextMgr;
    friend class HugeTaskMgr;
    friend class TaskContext;

    int m_nThreadId = 0;
    std::string m_InterfaceName;
    std::string m_UserInfo;
    std::string m_OperUUID;
    int m_nTskNum = 0;
    int m_nTskMode = 0;
    int m_nTskType = 0;
    std::string m_TskMgr;
};

/// The process-wide source of operation UUIDs.
///
/// Ownership: one per process, from the first Instance() to Destroy(); callers never delete it. No thread
/// may be using it while it is destroyed.
/// Threads: any; they take turns.
/// Errors: nothing is thrown or reported. If the mutex cannot be taken, the UUID is made without it.
class NBI_EXPORT ACE_UUID_Generator {
public:
    /// Null only when there is no generator yet and the static-object lock cannot be taken.
    static ACE_UUID_Generator* Instance();
    /// Runs the destructor under ACE's process-wide static-object lock; nothing happens when that lock fails.
    static void Destroy();

    /// Makes a time-based UUID (version 1).
    /// \return 36 characters, lower-case hexadecimal digits in groups of 8, 4, 4, 4 and 12, joined by hyphens
    std::string generate_uuid();

private:
    ACE_UUID_Generator();
    ~ACE_UUID_Generator();

    static std::atomic<ACE_UUID_Generator*> m_pInstance;
    const std::unique_ptr<ACE_Thread_Mutex> m_pMutex;
    const std::unique_ptr<ACE_Utils::UUID_Generator> m_pGenerator;  // guarded by m_pMutex
};

}  // namespace NS_UTIL
