/// \file
/// Coroutines on the pools, for compilers that have them. Included by nbiutil/async.h.
#pragma once

#include <coroutine>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include "nbiutil/async/future.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/nbitaskmgr.h"

namespace NS_UTIL {

namespace async_internal {

/// What a hop needs of the coroutine's promise. The coroutine gives the answer as long as it owns it: while it
/// is queued, somebody else may have given it, and then it is not asked any more.
class PromiseBase {
public:
    explicit PromiseBase(std::shared_ptr<State> pState) : m_pState(std::move(pState)) {}
    PromiseBase(const PromiseBase&) = delete;
    PromiseBase& operator=(const PromiseBase&) = delete;

    const std::shared_ptr<State>& GetState() const { return m_pState; }
    // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn): the analyzer cannot see a promise made
    bool OwnsAnswer() const { return m_bOwnsAnswer; }
    void Disown() { m_bOwnsAnswer = false; }

    /// Ends the wait in the queue without a worker.
    void TakeBack()
    {
        if (!m_pState->Take()) Disown();
    }

protected:
    ~PromiseBase() = default;

private:
    const std::shared_ptr<State> m_pState;
    bool m_bOwnsAnswer = true;  // belongs to the thread that runs the coroutine, or its task
};

/// Which task this thread is pushing. A pool that is stopped destroys it within the push, and then it is the
/// coroutine that has to hear of it, not its frame that has to go.
class PushInProgress {
public:
    explicit PushInProgress(const void* pTask) : m_pOuter(std::exchange(Innermost(), pTask)), m_pTask(pTask)
    {
    }
    PushInProgress(const PushInProgress&) = delete;
    PushInProgress& operator=(const PushInProgress&) = delete;
    ~PushInProgress() { Innermost() = m_pOuter; }

    bool IsDropped() const { return Innermost() != m_pTask; }
    /// \return true when \p pTask is the one, which is noted
    static bool NoteDropped(const void* pTask)
    {
        if (Innermost() != pTask) return false;
        Innermost() = nullptr;
        return true;
    }

private:
    static const void*& Innermost()
    {
        thread_local const void* t_pTask = nullptr;
        return t_pTask;
    }

    const void* const m_pOuter;
    const void* const m_pTask;
};

/// The task that goes on with a coroutine on a worker. Its descriptor is that of the coroutine's future, so a
/// shutdown wakes who waits there; it is finished by the coroutine's end, not by a hop's.
class HopTask final : public NBITask {
public:
    HopTask(DBAgent& agent, AD& descriptor, PromiseBase* pPromise, std::coroutine_handle<> frame)
        : NBITask(agent, false, descriptor), m_pPromise(pPromise), m_Frame(frame)
    {
    }

    ~HopTask() override
    {
        if (!m_Frame || PushInProgress::NoteDropped(this)) return;
        if (m_pPromise != nullptr) m_pPromise->GetState()->Drop();
        DestroyFrame();
    }

    void Execute() override
    {
        if (m_pPromise != nullptr && !m_pPromise->GetState()->Begin()) {
            DestroyFrame();
        } else {
            std::exchange(m_Frame, nullptr).resume();
        }
    }

    void Complete() override
    {
        if (m_pPromise != nullptr) {
            SetTaskState(NBI_TASK_FINISHED);
        } else {
            NBITask::Complete();
        }
    }

private:
    /// Whoever has ended its wait has given its answer.
    void DestroyFrame()
    {
        if (m_pPromise != nullptr) m_pPromise->Disown();
        std::exchange(m_Frame, nullptr).destroy();
    }

    PromiseBase* const m_pPromise;    // lies in the frame; null for a coroutine of another kind
    std::coroutine_handle<> m_Frame;  // null once it goes on
};

/// The agent of all hops. Never destroyed: tasks may end while the process does.
inline DBAgent& HopAgent()
{
    static auto* const pAgent = new DBAgent("coroutine", 0);
    return *pAgent;
}

}  // namespace async_internal

/// co_await OnPool(2) goes on, on a worker of pool 2, with the request context that the coroutine had before.
/// A coroutine that returns Future<T> gives its value or failure to that future, whose Cancel() keeps it from
/// going on after a hop; its frame is destroyed then. Its failures are not logged.
/// \throws ProcessException from co_await, on the thread it was on, with ErrCode::POOL_DESTROYED: the pool
///         was stopped; ErrCode::TASK_CANCELLED: the future was cancelled; or as TaskPoolMgr::PushTask()
class OnPool {
public:
    /// \param agent must outlive the coroutine
    explicit OnPool(unsigned int nPool, DBAgent& agent = async_internal::HopAgent())
        : m_nPool(nPool), m_Agent(agent)
    {
    }

    bool await_ready() const noexcept { return false; }

    // Never inlined: some compilers keep an inlined function's variables in the coroutine's frame, which may
    // be gone before this returns.
    template <class Promise>
    __attribute__((noinline)) bool await_suspend(std::coroutine_handle<Promise> frame)
    {
        if constexpr (std::is_base_of_v<async_internal::PromiseBase, Promise>) {
            AD descriptor(frame.promise().GetState()->Descriptor());
            return Hop(frame, &frame.promise(), descriptor);
        } else {
            AD descriptor;
            return Hop(frame, nullptr, descriptor);
        }
    }

    void await_resume() const
    {
        if (m_nRefusal == 0) return;
        throw ProcessException(m_nRefusal, "the hop was refused", "the hop was refused", "async", "OnPool",
                               __LINE__);
    }

private:
    /// \return false when the coroutine goes on at once. From the push on the frame, and this object with it,
    ///         may be gone, unless the push drops the task.
    bool Hop(std::coroutine_handle<> frame, async_internal::PromiseBase* pPromise, AD& descriptor)
    {
        if (pPromise != nullptr && !pPromise->OwnsAnswer()) {
            m_nRefusal = ErrCode::TASK_CANCELLED;
            return false;
        }
        NBITaskMgr::GetTaskMgr(m_nPool);  // what fails for a new pool fails while the task is still ours
        auto* const pTask = new async_internal::HopTask(m_Agent, descriptor, pPromise, frame);
        const async_internal::PushInProgress push(pTask);
        if (pPromise != nullptr) pPromise->GetState()->Queue();
        try {
            TaskPoolMgr::PushTask(m_Agent, pTask, m_nPool);
        } catch (...) {
            if (pPromise != nullptr) pPromise->TakeBack();
            throw;
        }
        if (!push.IsDropped()) return true;
        if (pPromise != nullptr) pPromise->TakeBack();
        m_nRefusal = ErrCode::POOL_DESTROYED;
        return false;
    }

    const unsigned int m_nPool;
    DBAgent& m_Agent;
    unsigned int m_nRefusal = 0;
};

namespace async_internal {

/// The promise of a coroutine that returns Future<T>. It starts on the caller's thread.
template <class T>
class FuturePromiseBase : public PromiseBase {
public:
    FuturePromiseBase() : FuturePromiseBase(MakeState()) {}
    ~FuturePromiseBase()
    {
        Answer([this] { m_pResult->Fail(ErrCode::POOL_DESTROYED, "its coroutine was destroyed"); });
    }

    Future<T> get_return_object() { return Future<T>(m_pResult); }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }

    void unhandled_exception() noexcept
    {
        Answer([this] {
            try {
                throw;
            } catch (ProcessException& failure) {
                m_pResult->Fail(failure);
            } catch (const std::exception& failure) {
                m_pResult->Fail(ErrCode::TASK_EXCEPTION, failure.what());
            } catch (...) {
                m_pResult->Fail(ErrCode::TASK_BODY_FAILED, "");
            }
        });
    }

protected:
    template <class Give>
    void Answer(Give give)
    {
        if (!OwnsAnswer()) return;
        give();
        Disown();
        m_pResult->Descriptor().Awake();
    }

    const std::shared_ptr<ResultState<T>> m_pResult;

private:
    explicit FuturePromiseBase(const std::shared_ptr<ResultState<T>>& pResult)
        : PromiseBase(pResult), m_pResult(pResult)
    {
    }
    static std::shared_ptr<ResultState<T>> MakeState()
    {
        return std::make_shared<ResultState<T>>(NO_DEADLINE, State::Stage::TAKEN);
    }
};

template <class T>
class FuturePromise final : public FuturePromiseBase<T> {
public:
    template <class Value>
    void return_value(Value&& value)
    {
        this->Answer([&] {
            this->m_pResult->m_Value.emplace(std::forward<Value>(value));
            this->m_pResult->Answer();
        });
    }
};

template <>
class FuturePromise<void> final : public FuturePromiseBase<void> {
public:
    void return_void()
    {
        Answer([this] { m_pResult->Answer(); });
    }
};

}  // namespace async_internal
}  // namespace NS_UTIL

/// \cond
template <class T, class... Arguments>
struct std::coroutine_traits<NS_UTIL::Future<T>, Arguments...> {
    using promise_type = NS_UTIL::async_internal::FuturePromise<T>;
};
/// \endcond
