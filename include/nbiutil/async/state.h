/// \file
/// What a future and its task share: who may give the answer, how one waits for it, and what asks the task to
/// stop. Included by nbiutil/async.h.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "nbihost/bundlemgr.h"
#include "nbiutil/ad.h"
#include "nbiutil/errcode.h"
#include "nbiutil/processexception.h"

namespace NS_UTIL {

/// A point on the monotonic clock; setting the machine's time does not move it.
using Deadline = std::chrono::steady_clock::time_point;
constexpr Deadline NO_DEADLINE = Deadline::max();

/// \param duration from now; what lies beyond the clock's range is NO_DEADLINE
template <class Rep, class Period>
Deadline After(const std::chrono::duration<Rep, Period>& duration)
{
    const Deadline now = std::chrono::steady_clock::now();
    const bool bBeyond =
        std::chrono::duration<double>(duration) >= std::chrono::duration<double>(NO_DEADLINE - now);
    return bBeyond ? NO_DEADLINE : now + std::chrono::ceil<Deadline::duration>(duration);
}

/// Why a task should stop; the first that holds, in this order.
enum class StopReason {
    NONE,       ///< go on
    REQUESTED,  ///< somebody called Cancel() or RequestStop()
    DEADLINE,   ///< the deadline has passed
    FRAMEWORK,  ///< the host's framework is stopping
};

namespace async_internal {

/// How long a waiter sleeps before it looks at the framework and the pool again.
constexpr std::chrono::seconds SLICE{10};

inline bool IsFrameworkStopping()
{
    return NS_BUNDLEMGR1::BundleMgr::Instance()->GetState() == NS_BUNDLEMGR1::FRAMEWORK_STOPPING;
}

/// The road of one task: QUEUED, TAKEN, ANSWERED. Worker, canceller, a waiter that sees the deadline pass and
/// the task's destructor may all want to end the wait in the queue; Take() lets one of them, and that one
/// gives the answer. Only the answer of whoever took it is ever written, so it needs no lock.
///
/// The worker's wake-up of the descriptor is what Get() waits for; WaitUntil() sleeps on a condition of this
/// state, which each answer signals.
class State {
public:
    enum class Stage { QUEUED, TAKEN, ANSWERED };

    explicit State(Deadline deadline, Stage stage = Stage::QUEUED) : m_nStage(stage), m_Deadline(deadline) {}
    virtual ~State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    AD& Descriptor() { return m_Descriptor; }
    bool IsAnswered() const { return m_nStage.load(std::memory_order_acquire) == Stage::ANSWERED; }

    StopReason Reason() const
    {
        if (m_bStopRequested.load(std::memory_order_acquire)) return StopReason::REQUESTED;
        if (m_Deadline != NO_DEADLINE && std::chrono::steady_clock::now() >= m_Deadline) {
            return StopReason::DEADLINE;
        }
        return IsFrameworkStopping() ? StopReason::FRAMEWORK : StopReason::NONE;
    }

    /// \return true when that kept the task from starting
    bool RequestStop()
    {
        m_bStopRequested.store(true, std::memory_order_release);
        return RefuseIfQueued(ErrCode::TASK_CANCELLED, "cancelled by its caller");
    }

    /// Ends the wait in the queue.
    /// \return false when somebody else has done so
    bool Take()
    {
        Stage stage = Stage::QUEUED;
        return m_nStage.compare_exchange_strong(stage, Stage::TAKEN, std::memory_order_acq_rel);
    }
    /// Back into a queue, for a coroutine that changes its pool and has taken it.
    void Queue() { m_nStage.store(Stage::QUEUED, std::memory_order_release); }

    /// The worker's Take(); a task that is to stop is answered here.
    /// \return true when the body is to run
    bool Begin()
    {
        if (!Take()) return false;
        const StopReason reason = Reason();
        if (reason != StopReason::NONE) Refuse(ErrCode::TASK_CANCELLED, TextOf(reason));
        return reason == StopReason::NONE;
    }

    /// The answer is there. For whoever took the task, once.
    void Answer()
    {
        // Either this sees the sleeper, or the sleeper sees the stage: both are sequentially consistent.
        m_nStage.store(Stage::ANSWERED, std::memory_order_seq_cst);
        if (m_nSleepers.load(std::memory_order_seq_cst) == 0) return;
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Answered.notify_all();
    }

    /// Answers with a failure. Without memory for its texts the code is kept.
    void Fail(ProcessException& failure) noexcept
    {
        m_nFailure = failure.GetErrorCode();
        m_bFailed = true;
        try {
            m_pFailure = std::make_unique<ProcessException>(failure);
        } catch (...) {
            // Deliberate: ThrowFailure() raises the code alone.
        }
        Answer();
    }

    void Fail(unsigned int nCode, const char* pDetail) noexcept
    {
        try {
            ProcessException failure(nCode, pDetail, pDetail, "async", "State::Fail", __LINE__);
            Fail(failure);
        } catch (...) {
            ProcessException bare;
            bare.SetErrorCode(nCode);
            Fail(bare);
        }
    }

    /// Answers a body that will not run, and wakes who waits on the descriptor.
    void Refuse(unsigned int nCode, const char* pDetail) noexcept
    {
        ReleaseBody();
        Fail(nCode, pDetail);
        m_Descriptor.SetErrorCode(nCode);
        m_Descriptor.Awake();
    }

    bool RefuseIfQueued(unsigned int nCode, const char* pDetail) noexcept
    {
        if (!IsQueued() || !Take()) return false;
        Refuse(nCode, pDetail);
        return true;
    }

    /// The pool has let go of the task.
    bool Drop() noexcept { return RefuseIfQueued(ErrCode::POOL_DESTROYED, "its pool was stopped"); }

    bool IsQueued() const { return m_nStage.load(std::memory_order_acquire) == Stage::QUEUED; }

    /// A shutdown has woken the descriptor and left the task in its queue, for good.
    bool IsStranded() const { return m_Descriptor.IsFinished() && IsQueued(); }

    /// \return true when Get() will not wait for a body any more
    bool IsSettled()
    {
        if (IsAnswered()) return true;
        LookAtPool();
        const StopReason reason = Reason();
        if (reason != StopReason::NONE) RefuseIfQueued(ErrCode::TASK_CANCELLED, TextOf(reason));
        if (IsStranded()) Drop();
        return IsAnswered() || reason == StopReason::FRAMEWORK;
    }

    /// \return IsSettled() at last
    bool WaitUntil(Deadline limit)
    {
        while (!IsSettled()) {
            const Deadline now = std::chrono::steady_clock::now();
            if (now >= limit) return false;
            const Deadline wakeUp = now < m_Deadline ? std::min(limit, m_Deadline) : limit;
            Sleep(std::min(wakeUp, now + SLICE));
        }
        return true;
    }

    /// Waits for the answer, or for the framework's stop.
    void Await()
    {
        if (m_Deadline != NO_DEADLINE || IsWaitingElsewhere()) WaitUntil(m_Deadline);
        WaitOnDescriptor();
        while (!IsSettled()) {
            if (m_Descriptor.IsFinished()) {  // woken by a shutdown, while the body goes on
                Sleep(std::chrono::steady_clock::now() + SLICE);
            } else {
                WaitOnDescriptor();
            }
        }
    }

    void ThrowFailure()
    {
        if (!IsAnswered()) {
            throw ProcessException(ErrCode::FRAMEWORK_STOPPED, "the framework stops", "the framework stops",
                                   "async", "Future::Get", __LINE__);
        }
        if (m_pFailure) throw ProcessException(*m_pFailure);
        if (m_bFailed) throw ProcessException(m_nFailure, "", "async", "Future::Get", __LINE__);
    }

protected:
    /// Destroys a body that has run, or will not.
    virtual void ReleaseBody() noexcept {}
    /// The task may be kept where no shutdown wakes its descriptor.
    virtual bool IsWaitingElsewhere() const { return false; }
    virtual void LookAtPool() {}

private:
    static const char* TextOf(StopReason reason)
    {
        if (reason == StopReason::DEADLINE) return "its deadline passed before it started";
        return reason == StopReason::FRAMEWORK ? "the framework stops" : "cancelled by its caller";
    }

    void Sleep(Deadline limit)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_nSleepers.fetch_add(1, std::memory_order_seq_cst);
        m_Answered.wait_until(lock, limit,
                              [this] { return m_nStage.load(std::memory_order_seq_cst) == Stage::ANSWERED; });
        m_nSleepers.fetch_sub(1, std::memory_order_relaxed);
    }

    void WaitOnDescriptor()
    {
        try {
            m_Descriptor.Wait();
        } catch (const ProcessException&) {
            // The failure is in this state too, with its origin; what has no answer yet, IsSettled() finds
            // out.
        }
    }

    std::atomic<Stage> m_nStage;
    std::atomic<bool> m_bStopRequested{false};
    std::atomic<int> m_nSleepers{0};
    bool m_bFailed = false;                        // written by whoever took the task, before the answer
    unsigned int m_nFailure = 0;                   // likewise
    std::unique_ptr<ProcessException> m_pFailure;  // likewise
    const Deadline m_Deadline;
    std::mutex m_Mutex;
    std::condition_variable m_Answered;  // with m_Mutex, for the change of m_nStage to ANSWERED
    AD m_Descriptor;
};

}  // namespace async_internal

/// Tells a body that nobody wants its result any more: its future was cancelled, its deadline has passed, or
/// the framework is stopping. A body that runs long asks now and then, and returns or throws. Threads: any.
class StopToken {
public:
    explicit StopToken(std::shared_ptr<const async_internal::State> pState) : m_pState(std::move(pState)) {}

    bool IsStopRequested() const { return Reason() != StopReason::NONE; }
    StopReason Reason() const { return m_pState->Reason(); }

private:
    std::shared_ptr<const async_internal::State> m_pState;
};

/// Cancels one task, also when its future has gone or another thread waits on it. Threads: any.
class StopSource {
public:
    explicit StopSource(std::shared_ptr<async_internal::State> pState) : m_pState(std::move(pState)) {}

    /// Sets the task's stop token.
    /// \return true when the task had not started: it will not run, and answers ErrCode::TASK_CANCELLED
    bool RequestStop() const { return m_pState->RequestStop(); }

private:
    std::shared_ptr<async_internal::State> m_pState;
};

}  // namespace NS_UTIL
