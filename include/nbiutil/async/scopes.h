/// \file
/// Request contexts and reasons, with names instead of numbers. Included by nbiutil/async.h.
#pragma once

#include <pthread.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "nbiutil/errorinfomgr.h"
#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"

namespace NS_UTIL {

/// Makes the calling thread serve a request until the end of the scope; tasks that are made meanwhile carry
/// it. Afterwards the thread has the record that it had, with a fresh operation UUID if that had none. Scopes
/// may be nested. Threads: the one that made it.
class RequestScope {
public:
    /// A request with an operation UUID of its own, which is no huge task.
    explicit RequestScope(const std::string& interfaceName, const std::string& userInfo = "")
        : RequestScope(Fresh(interfaceName, userInfo))
    {
    }

    explicit RequestScope(const ThreadContextInfo& request)
    {
        ThreadContextMgr* const pContexts = ThreadContextMgr::Instance();
        if (pContexts == nullptr) return;
        m_Outer = pContexts->GetThreadContext();
        pContexts->SetThreadContext(request);
    }
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;
    ~RequestScope()
    {
        try {
            if (ThreadContextMgr* const pContexts = ThreadContextMgr::Instance()) {
                pContexts->SetThreadContext(m_Outer);
            }
        } catch (...) {
            // Deliberate: without memory the thread keeps the request, which harms less than the process's end.
        }
    }

private:
    static ThreadContextInfo Fresh(const std::string& interfaceName, const std::string& userInfo)
    {
        ThreadContextInfo info;
        info.SetThreadID(static_cast<int>(pthread_self()));
        info.SetInterfaceName(interfaceName);
        info.SetUserInfo(userInfo);
        info.SetOperUUID("");
        return info;
    }

    ThreadContextInfo m_Outer;
};

/// What makes a request a huge (long-running) task, set by name:
/// HugeRequest().Asynchronous().AtMost(4).Of("perf/").
class HugeRequest {
public:
    /// The caller waits for the task; so it is unless Asynchronous() says otherwise.
    HugeRequest& Synchronous() { return SetType(-1); }
    /// The caller is answered before the task has ended.
    HugeRequest& Asynchronous() { return SetType(0); }

    /// How many of the request's kind may run at once; without this only the overall limit counts.
    /// \throws std::invalid_argument below 2: the limit of a kind cannot be expressed for one
    HugeRequest& AtMost(int nTasks)
    {
        if (nTasks < 2) throw std::invalid_argument("HugeRequest::AtMost needs 2 or more");
        m_nNumber = nTasks - 1;  // a kind is refused when more than its number are running
        return *this;
    }

    /// Names the task manager, which makes the kind together with the interface's name. End it in a character
    /// that no interface begins with: the two are joined without a separator.
    HugeRequest& Of(const std::string& manager)
    {
        m_Manager = manager;
        return *this;
    }

    /// \return \p request as a huge task of this sort
    ThreadContextInfo ApplyTo(ThreadContextInfo request) const
    {
        constexpr int HUGE_MODE = 1;
        request.SetHugeTskInfo(m_nNumber, m_nType, HUGE_MODE, m_Manager);
        return request;
    }

private:
    HugeRequest& SetType(int nType)
    {
        m_nType = nType;
        return *this;
    }

    int m_nNumber = 0;
    int m_nType = -1;
    std::string m_Manager;
};

/// Makes the calling thread's request a huge task until the end of the scope. Push its tasks to HUGE_POOL. The
/// limits count requests: tasks that one request has running at once count as one.
/// Threads: the one that made it.
class HugeScope {
public:
    explicit HugeScope(const HugeRequest& huge) : m_Scope(huge.ApplyTo(Current())) {}

private:
    static ThreadContextInfo Current()
    {
        ThreadContextMgr* const pContexts = ThreadContextMgr::Instance();
        return pContexts != nullptr ? pContexts->GetThreadContext() : ThreadContextInfo();
    }

    RequestScope m_Scope;
};

/// The catalogue's text for \p nCode, in the language that was loaded last.
/// \return for a code without a text the code itself, as "0x4118000A"
inline std::string ReasonOf(unsigned long nCode)
{
    std::string reason;
    if (ErrorInfoMgr* const pCatalogue = ErrorInfoMgr::Instance()) {
        pCatalogue->GetErrReasonByErrCode(reason, nCode);
    }
    if (!reason.empty()) return reason;
    char text[2 + 2 * sizeof nCode + 1];
    std::snprintf(text, sizeof text, "0x%08lX", nCode);
    return text;
}

}  // namespace NS_UTIL
