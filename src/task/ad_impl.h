/// \file
/// The state that the handles of one completion descriptor share.
#pragma once

#include <ace/Condition_Recursive_Thread_Mutex.h>
#include <ace/Recursive_Thread_Mutex.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>

namespace NS_UTIL {

class Functor;

/// Pending until Awake(), then finished for good: code, text and callbacks are frozen. The operations mean
/// what they mean in AD. Deliberate: the destructor is declared last; the slot order of the virtual
/// operations is part of the interface.
class AD_Impl {
public:
    AD_Impl();
    AD_Impl(const AD_Impl&) = delete;
    AD_Impl& operator=(const AD_Impl&) = delete;

    virtual bool IsFinished() const;
    virtual void Awake();
    virtual unsigned long GetErrorCode();
    virtual void Wait();
    virtual void WaitToComplete();
    virtual void SetErrorCode(unsigned long nCode);
    virtual void SetErrorInfo(const std::string& info);
    virtual ~AD_Impl();

    void Bind(Functor* pFunctor);
    void CallBack();

    /// The handles count themselves in and out, and so does each call of Awake(). The count alone would not
    /// need the mutex, so it goes without.
    void AddReference() { m_nReferences.fetch_add(1, std::memory_order_relaxed); }
    /// \return true when the last reference has gone: the caller deletes.
    bool DropReference() { return m_nReferences.fetch_sub(1, std::memory_order_acq_rel) == 1; }

private:
    /// \return false, and nothing is done, when the answer has been there already
    template <class Change>
    bool ChangeWhilePending(Change change);
    bool FinishesSoon() const;
    void WaitInSlicesLocked();
    void ThrowOnFailure();

    std::atomic<unsigned long> m_nErrorCode{0};  // written under m_Mutex
    std::string m_ErrorInfo;                     // guarded by m_Mutex until finished, then frozen
    std::atomic<int> m_nReferences{0};
    std::atomic<bool> m_bFinished{false};  // written under m_Mutex; read without it as a fast path
    ACE_Recursive_Thread_Mutex m_Mutex;
    ACE_Condition<ACE_Recursive_Thread_Mutex> m_Condition;
    std::unique_ptr<std::list<Functor*>> m_pCallbacks;  // made by the first Bind(); functors are not owned
};

}  // namespace NS_UTIL
