#include "handlers.h"

#include <nbihost/cfgfile.h>
#include <nbihost/corbaconfigitems.h>
#include <nbihost/standalone.h>
#include <nbiutil/async.h>

#include <cstdlib>
#include <vector>

using namespace NS_UTIL;

int SpeedOf(const std::string& port)
{
    std::vector<NS_BUNDLEMGR1::NameValueStru> ports;
    const std::string path = NS_BUNDLEMGR1::GetTAVOEnvironment() + "/ports.res";
    if (!NS_BUNDLEMGR1::GetAllCfgFrmFile(ports, path, true)) {
        nbihost::Log(nbihost::LOG_LEVEL_ERROR, "handlers", "%s cannot be read", path.c_str());
    }
    for (const auto& [name, speed] : ports) {
        if (name == port) return std::atoi(speed.c_str());
    }
    throw ProcessException(NO_SUCH_PORT, port, "handlers", "SpeedOf", __LINE__);
}

int AskForSpeed(const std::string& port)
{
    static auto& agent = *new DBAgent("console", 1);
    int nLimit = 4;
    NS_BUNDLEMGR1::CorbaConfigItems::Instance()->GetIntItemInfo("SpeedTasks", nLimit);
    return TrySubmit(static_cast<std::size_t>(nLimit), 0, agent, [port] { return SpeedOf(port); }).Get();
}
