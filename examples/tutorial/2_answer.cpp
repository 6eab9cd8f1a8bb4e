#include <nbihost/standalone.h>
#include <nbiutil/async.h>

#include <iostream>
#include <map>
#include <string>

using namespace NS_UTIL;

// [work]
const std::map<std::string, int> PORTS{{"eth0", 1000}, {"eth1", 100}};

int SpeedOf(const std::string& port)
{
    const auto found = PORTS.find(port);
    return found != PORTS.end() ? found->second : 0;
}
// [work]

int main()
{
    DBAgent agent("console", 1);
    nbihost::Host host("server.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();

    // [serve]
    for (std::string port; std::getline(std::cin, port);) {
        Future<int> speed = Submit(0, agent, [port] { return SpeedOf(port); });
        std::cout << port << ": " << speed.Get() << " Mbit/s\n";
    }
    // [serve]
}
