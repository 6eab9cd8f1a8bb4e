/// \file
/// The way from a request thread to a worker and back.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace NS_UTIL {
class DBAgent;
}

namespace northbound {

/// Has a worker of pool \p nPool do \p work for the calling thread's request, and waits.
/// \param work must own what it works on, or share it: when the framework stops, the wait ends while the work
///             may still go on.
/// \throws ProcessException the failure of the work; NOT_CARRIED_OUT or the framework's own when the server
///         stopped first; what TaskPoolMgr::PushTask() throws
void RunInPool(NS_UTIL::DBAgent& agent, unsigned int nPool, std::function<void()> work);

/// Has a worker do \p work for the calling thread's request, and does not wait. A pool that stops may leave it undone.
/// \throws ProcessException what TaskPoolMgr::PushTask() throws
void PushToPool(NS_UTIL::DBAgent& agent, unsigned int nPool, std::function<void()> work);

/// RunInPool() for work that has a result, which is shared with the worker for the reason above.
template <class Work>
auto ResultFromPool(NS_UTIL::DBAgent& agent, unsigned int nPool, Work work) -> decltype(work())
{
    const auto pResult = std::make_shared<std::optional<decltype(work())>>();
    RunInPool(agent, nPool, [pResult, work = std::move(work)]() mutable { *pResult = work(); });
    return std::move(pResult->value());
}

}  // namespace northbound
