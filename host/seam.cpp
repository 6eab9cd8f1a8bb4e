// What the seam itself has of code, the same behind every host of this project.
#include <utility>

#include "nbihost/bundlemgr.h"
#include "nbihost/logservice.h"

namespace NS_BUNDLEMGR1 {

ServiceInterface::~ServiceInterface() = default;

NULLServiceInterface* NULLServiceInterface::m_pInstance = nullptr;
NULLServiceInterface::NULLServiceInterface(std::string name) : m_Name(std::move(name))
{
}
NULLServiceInterface::~NULLServiceInterface() = default;

std::mutex& GlobalMutex()
{
    static std::mutex mutex;
    return mutex;
}

BundleMgr::~BundleMgr() = default;

}  // namespace NS_BUNDLEMGR1

namespace NS_LOG_SERVICE1 {

LogSvcInterface::~LogSvcInterface() = default;

}  // namespace NS_LOG_SERVICE1
