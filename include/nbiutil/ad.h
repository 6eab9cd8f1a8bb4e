/// \file
/// The completion descriptor on which a caller waits for its task, and the callback that can be bound to it.
#pragma once

#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

class AD_Impl;

/// A callback that can be bound to a descriptor.
/// Deliberate: no virtual destructor. operator() stands in the first slot, and nobody deletes through this
/// class.
class NBI_EXPORT Functor {
public:
    virtual void operator()() = 0;

protected:
    ~Functor() = default;
};

/// Completion descriptor: the meeting point of a caller and the worker that carries out its task. The worker
/// records an error code and a text and wakes every waiter.
///
/// A handle onto shared state: copies share it, the last handle to go frees it. The worker calls
/// SetErrorCode(), then SetErrorInfo() if there is a text, then Awake(); what comes after Awake() is
/// discarded.
///
/// Threads: any for the shared state. One handle object belongs to one thread at a time, with one exception: a
/// waiter that sees the descriptor finished may destroy the handle whose Awake() another thread is still in.
/// Memory: what the worker wrote before Awake() is visible after the waiter's Wait() has returned.
/// Time: waits are measured in real time; setting the clock neither lengthens nor shortens them.
class NBI_EXPORT AD {
public:
    /// A new, pending descriptor: code 0 (success), no text.
    AD();
    /// Shares \p other's state.
    AD(const AD& other);
    virtual ~AD();

    virtual bool IsFinished() const;

    /// Marks the descriptor finished and wakes every waiter. Only the first call does anything.
    virtual void Awake();

    /// While the framework runs: Wait(), then the code, which can only be 0. Deliberate: once the framework
    /// answers that it is stopping, the stored code at once, finished or not; callers poll with it during a
    /// shutdown.
    /// \throws ProcessException as Wait()
    virtual unsigned long GetErrorCode();

    /// Blocks until finished. Looks at the framework's state every 10 seconds; once that is "stopping", the
    /// wait ends with code 1, though the work may still be going on.
    /// \throws ProcessException when the code is not 0: its low 32 bits as the code, file "ad", line 84,
    ///         message "ErrCode:<code>,Detail:<error info>"
    virtual void Wait();

    /// Blocks until finished or woken. Deliberate: one wait, not a loop; callers get control back at the
    /// first wake-up, whatever woke it, and ask IsFinished() themselves. Throws nothing.
    virtual void WaitToComplete();

    /// Appends \p pFunctor (not owned) to the callbacks, unless the descriptor is finished.
    virtual void Bind(Functor* pFunctor);

    /// Calls every bound functor in binding order, on this thread, whether finished or not. Takes no lock:
    /// nobody may bind at the same time.
    virtual void CallBack();

    /// Both are ignored once the descriptor is finished. Code 0 is success.
    virtual void SetErrorCode(unsigned long nCode);
    virtual void SetErrorInfo(const std::string& info);

    /// Shares \p other's state and lets go of this handle's own. Nothing happens when both share already.
    AD& operator=(const AD& other);

private:
    AD_Impl* m_pImpl;
};

}  // namespace NS_UTIL
