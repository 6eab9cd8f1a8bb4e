#include <nbihost/standalone.h>
#include <nbiutil/async.h>

#include <iostream>
#include <string>

using namespace NS_UTIL;

// [prefix]
/// Puts the request that the thread serves in front of each log line.
void AppendRequest(std::string& line)
{
    const ThreadContextInfo request = ThreadContextMgr::Instance()->GetThreadContext();
    if (request.GetInterfaceName().empty()) return;
    line +=
        request.GetBareOperUUID() + " [" + request.GetInterfaceName() + "] " + request.GetUserInfo() + ": ";
}
// [prefix]

int main()
{
    DBAgent agent("console", 1);
    // [host]
    nbihost::Host host("server.ini", {AppendRequest, &TaskPoolMgr::ShutDown});
    host.Start();
    // [host]

    // [serve]
    for (std::string port; std::getline(std::cin, port);) {
        const RequestScope request("getSpeed", "operator");
        nbihost::Log(nbihost::LOG_LEVEL_INFO, "server", "asked for %s", port.c_str());
        Submit(0, agent, [port] {
            nbihost::Log(nbihost::LOG_LEVEL_INFO, "server", "looking for %s", port.c_str());
        }).Get();
        std::cout << "looked for " << port << '\n';
    }
    // [serve]
}
