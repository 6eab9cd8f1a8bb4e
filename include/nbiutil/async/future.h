/// \file
/// The future of a task. Included by nbiutil/async.h.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "nbiutil/async/state.h"

namespace NS_UTIL {

namespace async_internal {

/// A state with room for a value.
template <class T>
class ResultState : public State {
public:
    using State::State;

    std::optional<std::conditional_t<std::is_void_v<T>, std::monostate, T>> m_Value;  // read once answered
};

}  // namespace async_internal

/// The answer of a task that Submit() or one of its kin has pushed. Movable; it may go before the task has
/// ended, which goes on then. Threads: one at a time; StopSource cancels from anywhere.
template <class T>
class Future {
public:
    Future() = default;
    explicit Future(std::shared_ptr<async_internal::ResultState<T>> pState) : m_pState(std::move(pState)) {}

    /// false: made without a task, moved from, or Get() has been called.
    bool IsValid() const { return m_pState != nullptr; }

    /// The task's value. Waits until the task has ended; one that is still queued when its deadline passes is
    /// cancelled. A body that runs is always waited for, so it may use what lives on the caller's stack, but
    /// for one case: the framework stops. Once only.
    /// \throws ProcessException of the body, with its code, detail, error info and origin
    /// \throws ProcessException with ErrCode::TASK_EXCEPTION, and what() as its detail and error info: the
    ///         body let another std::exception escape
    /// \throws ProcessException with ErrCode::TASK_BODY_FAILED: something else escaped
    /// \throws ProcessException with ErrCode::TASK_CANCELLED: cancelled, past its deadline, or overtaken by
    ///         the framework's stop before it started; the body has not run and will not
    /// \throws ProcessException with ErrCode::POOL_DESTROYED: the pool was stopped before it started
    /// \throws ProcessException with ErrCode::FRAMEWORK_STOPPED: the framework stops, and the body goes on.
    ///         Noticed after up to 10 seconds.
    /// \throws std::logic_error when not valid
    T Get()
    {
        const auto pState = std::move(m_pState);
        if (!pState) throw std::logic_error("Future::Get without a task");
        pState->Await();
        pState->ThrowFailure();
        if constexpr (!std::is_void_v<T>) return std::move(*pState->m_Value);
    }

    /// Sleeps until the answer is there, at most until \p limit. A stop of the framework is seen after up to
    /// 10 seconds.
    /// \return true when Get() has nothing to wait for
    /// \throws std::logic_error when not valid
    bool WaitUntil(Deadline limit) { return State().WaitUntil(limit); }

    /// Sleeps until the answer is there, at most for \p duration from now.
    /// \return true when Get() has nothing to wait for
    template <class Rep, class Period>
    bool WaitFor(const std::chrono::duration<Rep, Period>& duration)
    {
        return WaitUntil(After(duration));
    }

    /// WaitFor() without waiting.
    bool IsReady() { return State().IsSettled(); }

    /// Sets the task's stop token.
    /// \return true when the task had not started: it will not run, and answers ErrCode::TASK_CANCELLED
    bool Cancel() { return State().RequestStop(); }

    /// Cancels the task after this future has gone, or from another thread.
    StopSource GetStopSource() const { return StopSource(m_pState); }

private:
    async_internal::ResultState<T>& State()
    {
        if (!m_pState) throw std::logic_error("Future without a task");
        return *m_pState;
    }

    std::shared_ptr<async_internal::ResultState<T>> m_pState;
};

}  // namespace NS_UTIL
