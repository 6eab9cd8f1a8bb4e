/// \file
/// Futures on the pools: values and failures that come back, deadlines, cancellation, back-pressure, order per
/// key, coroutines, and request contexts with names instead of numbers. All of it is in headers: it uses the
/// library's classes and the host's framework state, and links nothing more.
///
///     DBAgent agent("console", 1);
///     auto answer = Submit(0, agent, [] { return 6 * 7; });
///     std::cout << answer.Get();  // 42, or the body's failure is thrown here
#pragma once

#include <cstddef>
#include <limits>
#include <utility>

#include "nbiutil/async/future.h"
#include "nbiutil/async/jobtask.h"
#include "nbiutil/async/scopes.h"
#include "nbiutil/async/strand.h"
#ifdef __cpp_impl_coroutine
#include "nbiutil/async/coroutine.h"
#endif

namespace NS_UTIL {

/// Runs \p body on the pool \p nPool with the calling thread's request context, and gives its answer. Before
/// the answer is there, the body and all it holds is destroyed. A pool that has been stopped is no failure
/// here: the future answers ErrCode::POOL_DESTROYED. A body that waits for a task of its own pool may wait for
/// ever; give that task a deadline.
/// \param agent    must outlive the task
/// \param body     called once, as body() or body(StopToken); it returns a value (movable) or nothing
/// \param deadline sets the stop token; a task that is still queued then does not run
/// \throws ProcessException as TaskPoolMgr::PushTask(), with ErrCode::HUGE_TASK_LIMIT for one
template <class Callable>
auto Submit(unsigned int nPool, DBAgent& agent, Callable&& body, Deadline deadline = NO_DEADLINE)
{
    return async_internal::Push(nPool, agent, std::forward<Callable>(body), deadline,
                                std::numeric_limits<std::size_t>::max());
}

/// The same on a pool of the caller's own, past the limits of huge tasks and the count of queued tasks.
template <class Callable>
auto Submit(NBITaskMgr& pool, DBAgent& agent, Callable&& body, Deadline deadline = NO_DEADLINE)
{
    auto [pBlock, pTask] = async_internal::MakeTask(agent, std::forward<Callable>(body), deadline);
    pool.PushTask(pTask.release());
    return async_internal::FutureOf(std::move(pBlock));
}

/// Submit(), unless \p nLimit tasks are queued: better to refuse a request than to answer it too late.
/// \throws ProcessException with ErrCode::QUEUE_FULL: QueuedTasks(nPool) has reached \p nLimit
/// \throws ProcessException as Submit()
template <class Callable>
auto TrySubmit(std::size_t nLimit, unsigned int nPool, DBAgent& agent, Callable&& body,
               Deadline deadline = NO_DEADLINE)
{
    return async_internal::Push(nPool, agent, std::forward<Callable>(body), deadline, nLimit);
}

/// How many tasks that Submit() and TrySubmit() have pushed wait for a worker of the pool \p nPool; cancelled
/// ones count until a worker has passed them. Tasks that were pushed in other ways do not count. A shared
/// library that hides its symbols has a count of its own.
inline std::size_t QueuedTasks(unsigned int nPool)
{
    return async_internal::QueuedIn(nPool).load();
}

}  // namespace NS_UTIL
