/// \file
/// Base of the tasks that carry out northbound requests.
#pragma once

#include "nbiutil/nbitask.h"

namespace northbound {

/// A task whose worker serves its request from the start to the end of Run(), the log line of a failure
/// included, and nobody before and after.
///
/// Whatever a task answers with must be shared with the request thread: when the framework stops, that thread
/// gives up waiting while the task may still run.
class RequestTask : public NS_UTIL::NBITask {
public:
    /// Carries the context of the calling thread, as every task does.
    RequestTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor);

    void Init() final;
    void Execute() final;
    void Complete() final;

private:
    /// The work itself, on a worker thread. What it throws becomes the request's failure: a ProcessException
    /// as it is, anything else as ErrCode::INTERNAL.
    virtual void Work() = 0;
};

}  // namespace northbound
