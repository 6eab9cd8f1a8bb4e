#include "northbound/fakenames.h"

#include <dlfcn.h>
#include <netdb.h>

#include <condition_variable>
#include <mutex>
#include <string>

namespace northbound {
namespace {

std::mutex g_Mutex;
std::condition_variable g_Changed;
bool g_bHangs = false;  // guarded by g_Mutex
int g_nSearching = 0;   // guarded by g_Mutex

int Hang()
{
    std::unique_lock<std::mutex> lock(g_Mutex);
    ++g_nSearching;
    g_Changed.wait(lock, [] { return !g_bHangs; });
    --g_nSearching;
    g_Changed.notify_all();
    return EAI_AGAIN;
}

int Real(const char* pHost, const addrinfo* pHints, addrinfo** pResult)
{
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto pNext = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return pNext(pHost, nullptr, pHints, pResult);
}

}  // namespace

HangingName::HangingName()
{
    std::lock_guard<std::mutex> guard(g_Mutex);
    g_bHangs = true;
}

HangingName::~HangingName()
{
    std::unique_lock<std::mutex> lock(g_Mutex);
    g_bHangs = false;
    g_Changed.notify_all();
    g_Changed.wait(lock, [] { return g_nSearching == 0; });
}

}  // namespace northbound

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's names are reserved ones
int getaddrinfo(const char* pHost, const char* pService, const addrinfo* pHints, addrinfo** pResult)
{
    const std::string host = pHost == nullptr ? "" : pHost;
    if (pService != nullptr || (pHints != nullptr && (pHints->ai_flags & AI_NUMERICHOST) != 0)) {
        return northbound::Real(pHost, pHints, pResult);
    }
    if (host == "hangs.example") return northbound::Hang();
    if (host == "unknown.example") return EAI_NONAME;
    if (host == "six.example") return northbound::Real("2001:db8::7", pHints, pResult);
    if (host != "two.example") return northbound::Real(pHost, pHints, pResult);
    const int nError = northbound::Real("127.0.0.2", pHints, pResult);
    return nError != 0 ? nError : northbound::Real("127.0.0.1", pHints, &(*pResult)->ai_next);
}
