#include <nbihost/standalone.h>
#include <nbiutil/async.h>

#include <iostream>
#include <map>
#include <string>

using namespace NS_UTIL;

const std::map<std::string, int> PORTS{{"eth0", 1000}, {"eth1", 100}};

// [raise]
constexpr unsigned int NO_SUCH_PORT = 0x50000001U;

int SpeedOf(const std::string& port)
{
    const auto found = PORTS.find(port);
    if (found == PORTS.end()) throw ProcessException(NO_SUCH_PORT, port, "server", "SpeedOf", __LINE__);
    return found->second;
}
// [raise]

int main(int nArguments, char** pArguments)
{
    const bool bEnglish = nArguments < 2 || pArguments[1] != std::string("zh");
    DBAgent agent("console", 1);
    nbihost::Host host("server.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();
    // [load]
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(bEnglish);
    // [load]

    // [tell]
    for (std::string port; std::getline(std::cin, port);) {
        try {
            std::cout << Submit(0, agent, [port] { return SpeedOf(port); }).Get() << " Mbit/s\n";
        } catch (const ProcessException& failure) {
            std::cout << ReasonOf(failure.GetErrorCode()) << " (" << failure.GetDetail() << ")\n";
        }
    }
    // [tell]
}
