// Runs the library on a host that is not its own: the host's item decides, the host's log gets the line.
#include <nbiutil/nbiutil.h>

#include <cstdio>

#include "nbihost/recordinghost.h"

namespace {

class Nothing : public NS_UTIL::NBITask {
public:
    using NBITask::NBITask;
    void Execute() override {}
};

}  // namespace

int main()
{
    nbitest::RecordingHost host;
    host.SetInt("TaskMgrMaxThreadNum", 3);
    NS_UTIL::DBAgent agent("agent", 1);
    NS_UTIL::AD done;
    NS_UTIL::TaskPoolMgr::PushTask(agent, new Nothing(agent, false, done), 0);
    done.Wait();
    NS_UTIL::NBITaskMgr* const pPool = NS_UTIL::NBITaskMgr::GetTaskMgr(0);
    const std::size_t nThreads = pPool->thr_count();
    pPool->PushTask(nullptr);
    NS_UTIL::TaskPoolMgr::ShutDown();
    const std::size_t nLines = host.LogsOf("nbitaskmgr").size();
    std::printf("%zu threads, %zu log lines\n", nThreads, nLines);
    return nThreads == 3 && nLines > 0 ? 0 : 1;
}
