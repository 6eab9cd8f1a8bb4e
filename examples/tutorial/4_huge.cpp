#include <nbihost/standalone.h>
#include <nbiutil/async.h>

#include <chrono>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <thread>

using namespace NS_UTIL;

constexpr unsigned int COLLECTED_ALREADY = 0x50000002U;

// [collect]
/// Reads a port's counter until somebody asks it to stop.
int Collect(const StopToken& token, std::promise<void>& started)
{
    started.set_value();
    int nReadings = 1;
    while (!token.IsStopRequested()) {
        ++nReadings;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return nReadings;
}
// [collect]

// [start]
/// A collection that runs; it is refused while as many run as the limit allows.
Future<int> StartCollection(DBAgent& agent, const std::string& port)
{
    const RequestScope request("collect " + port);
    const HugeScope huge(HugeRequest().Asynchronous().Of("collections/"));
    auto pStarted = std::make_shared<std::promise<void>>();
    auto collection =
        Submit(HUGE_POOL, agent, [pStarted](const StopToken& token) { return Collect(token, *pStarted); });
    pStarted->get_future().wait();
    return collection;
}
// [start]

int main()
{
    DBAgent agent("console", 2);
    nbihost::Host host("server.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(true);
    // [limit]
    TaskPoolMgr::Init(2);  // so many huge tasks may run at once
    // [limit]

    // [serve]
    std::map<std::string, Future<int>> collections;
    for (std::string port; std::getline(std::cin, port);) {
        try {
            if (collections.count(port) > 0) {
                throw ProcessException(COLLECTED_ALREADY, port, "server", "main", __LINE__);
            }
            collections[port] = StartCollection(agent, port);
            std::cout << "collecting " << port << '\n';
        } catch (const ProcessException& failure) {
            std::cout << ReasonOf(failure.GetErrorCode()) << '\n';
        }
    }
    for (auto& [port, collection] : collections) {
        collection.Cancel();
        std::cout << port << (collection.Get() > 0 ? ": collected\n" : ": nothing\n");
    }
    // [serve]
}
