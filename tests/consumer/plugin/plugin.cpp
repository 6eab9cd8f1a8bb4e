// Does one task's work each time it is asked, and shuts the pools down before it is closed.
#include <nbihost/standalone.h>
#include <nbiutil/nbiutil.h>

#include <atomic>
#include <memory>

namespace {

std::atomic<int> g_nDone{0};
std::unique_ptr<nbihost::Host> g_pHost;

class Count : public NS_UTIL::NBITask {
public:
    using NBITask::NBITask;
    void Execute() override { ++g_nDone; }
};

}  // namespace

extern "C" void PluginStart(const char* pConfigFile)
{
    g_pHost =
        std::make_unique<nbihost::Host>(pConfigFile, nbihost::HostHooks{{}, &NS_UTIL::TaskPoolMgr::ShutDown});
    g_pHost->Start();
}

extern "C" int PluginWork()
{
    NS_UTIL::DBAgent agent("plugin", 1);
    NS_UTIL::AD done;
    NS_UTIL::TaskPoolMgr::PushTask(agent, new Count(agent, false, done), 0);
    done.Wait();
    return g_nDone;
}

extern "C" void PluginStop()
{
    g_pHost.reset();
}

// What needs no pool goes on after the stop, in a plug-in that was opened again, too.
extern "C" long PluginAddress()
{
    long nAddress = 0;
    NS_UTIL::IpStr2Long("10.0.0.1", nAddress);
    return nAddress;
}
