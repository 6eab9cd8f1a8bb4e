#include "server/serving/runinpool.h"

#include "nbiutil/nbitaskmgr.h"
#include "server/serving/requesttask.h"
#include "shared/names.h"

namespace northbound {
namespace {

/// A descriptor that says failure until its task ends. Waking a queued task at a shutdown leaves the code as
/// it is, so one that started with success would answer a request that nobody carried out.
NS_UTIL::AD PendingDescriptor()
{
    NS_UTIL::AD descriptor;
    descriptor.SetErrorCode(ErrCode::NOT_CARRIED_OUT);
    descriptor.SetErrorInfo("the server stopped before it could answer this request");
    return descriptor;
}

}  // namespace

void RunInPool(NS_UTIL::DBAgent& agent, unsigned int nPool, std::function<void()> work)
{
    NS_UTIL::AD descriptor = PendingDescriptor();
    NS_UTIL::TaskPoolMgr::PushTask(agent, new RequestTask(agent, descriptor, std::move(work)), nPool);
    descriptor.Wait();
}

void PushToPool(NS_UTIL::DBAgent& agent, unsigned int nPool, std::function<void()> work)
{
    NS_UTIL::AD descriptor;
    NS_UTIL::TaskPoolMgr::PushTask(agent, new RequestTask(agent, descriptor, std::move(work)), nPool);
}

}  // namespace northbound
