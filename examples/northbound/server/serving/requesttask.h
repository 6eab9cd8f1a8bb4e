/// \file
/// The task that carries out a northbound request on a worker.
#pragma once

#include <functional>

#include "nbiutil/nbitask.h"

namespace NS_UTIL {
class ProcessException;
}

namespace northbound {

/// A task whose worker serves its request while the work lasts, the log line of a failure included, and
/// nobody before and after.
class RequestTask final : public NS_UTIL::NBITask {
public:
    /// Carries the context of the calling thread, as every task does.
    /// \param work runs on a worker thread, and goes with the task. What it throws becomes the request's
    ///             failure: a ProcessException as it is, anything else as ErrCode::INTERNAL.
    RequestTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, std::function<void()> work);

    void Execute() override;

private:
    void Fail(const NS_UTIL::ProcessException& cause);

    std::function<void()> m_Work;
};

}  // namespace northbound
