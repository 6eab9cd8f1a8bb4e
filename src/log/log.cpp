#include "log/log.h"

#include <cerrno>
#include <mutex>

#include "nbihost/bundlemgr.h"
#include "nbihost/logservice.h"

namespace NS_UTIL {
namespace {

using NS_BUNDLEMGR1::BundleMgr;
using NS_BUNDLEMGR1::NULLServiceInterface;
using NS_LOG_SERVICE1::LogSvcInterface;

LogChannel g_LibraryChannel("kx_domain_bundle", "kx_domain_model", "debug");

/// The framework expects whoever needs a service first to make its null service object.
void MakeNullServiceOnce()
{
    std::lock_guard<std::mutex> guard(NS_BUNDLEMGR1::GlobalMutex());
    if (NULLServiceInterface::m_pInstance == nullptr) {
        NULLServiceInterface::m_pInstance = new NULLServiceInterface("NULLServiceInterface!");
    }
}

}  // namespace

LogSvcInterface* LogChannel::LookUp()
{
    MakeNullServiceOnce();
    const int interfaceNumber = NS_BUNDLEMGR1::CheckIFBuf("LogSvcInterface");
    if (interfaceNumber < 0) return nullptr;
    auto* pService = dynamic_cast<LogSvcInterface*>(BundleMgr::Instance()->GetService(interfaceNumber));
    if (pService == nullptr) return nullptr;  // something else registered under the log service's number
    LogSvcInterface* const pLogger = pService->CreateLogger(m_pBundle, m_pModel, m_pLevel);
    m_pService.store(pLogger, std::memory_order_release);
    return pLogger;
}

void LogChannel::WriteV(const SourceMark& mark, const char* pFormat, std::va_list args) noexcept
{
    const int nErrno = errno;  // that of the operation which is being reported
    try {
        LogSvcInterface* pService = m_pService.load(std::memory_order_acquire);
        if (pService == nullptr) pService = LookUp();
        if (pService != nullptr) {
            pService->LogV(mark.m_pModule, mark.m_pFunction, mark.m_nLine, LOG_LEVEL, pFormat, args);
        }
    } catch (...) {
        // Deliberate: a log line is never worth failing the operation that writes it.
    }
    errno = nErrno;
}

void LogChannel::Write(const SourceMark& mark, const char* pFormat, ...) noexcept
{
    std::va_list args;
    va_start(args, pFormat);
    WriteV(mark, pFormat, args);
    va_end(args);
}

void WriteLog(const SourceMark& mark, const char* pFormat, ...) noexcept
{
    std::va_list args;
    va_start(args, pFormat);
    g_LibraryChannel.WriteV(mark, pFormat, args);
    va_end(args);
}

}  // namespace NS_UTIL
