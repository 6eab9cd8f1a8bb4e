// reasons en|zh CODE...: what a failure's codes mean.
#include <nbihost/standalone.h>
#include <nbiutil/nbiutil.h>

#include <cstdlib>
#include <iostream>
#include <string>

using namespace NS_UTIL;

// [tell]
/// Never empty: a code that nobody has a reason for is shown as it is.
std::string Tell(unsigned long nCode)
{
    std::string reason;
    ErrorInfoMgr::Instance()->GetErrReasonByErrCode(reason, nCode);
    return !reason.empty() ? reason : "failure " + std::to_string(nCode);
}
// [tell]

// [use]
/// One language alone: what the other one has loaded is forgotten.
void UseLanguage(bool bEnglish)
{
    ErrorInfoMgr::Destroy();
    ErrorInfoMgr::Instance()->LoadErrorInfoFrmCfg(bEnglish);
}
// [use]

int main(int nArguments, char** pArguments)
{
    nbihost::Host host("host.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();
    UseLanguage(true);
    if (nArguments > 1 && std::string(pArguments[1]) == "zh") UseLanguage(false);
    for (int i = 2; i < nArguments; ++i) {
        std::cout << Tell(std::strtoul(pArguments[i], nullptr, 0)) << '\n';
    }
}
