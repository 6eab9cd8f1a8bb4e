/// \file
/// The host's log service.
#pragma once

#include <cstdarg>

#include "nbihost/api.h"
#include "nbihost/bundlemgr.h"

namespace NS_LOG_SERVICE1 {

/// Where all diagnostics go. Registered with the framework under the name "LogSvcInterface".
/// Ownership: the framework's, the objects that CreateLogger() gives included; they live until the process
/// ends. Threads: any.
class NBIHOST_API LogSvcInterface : public NS_BUNDLEMGR1::ServiceInterface {
public:
    ~LogSvcInterface() override;

    /// A logger of this service for one bundle. Never null; may throw.
    virtual LogSvcInterface* CreateLogger(const char* pBundle, const char* pModel, const char* pLevel) = 0;

    /// Writes one line. \p pFile is a module name without an ending, \p nLevel a number of the host's scale.
    /// \p args is consumed: the caller only ends it. May throw.
    virtual void LogV(const char* pFile, const char* pFunction, int nLine, int nLevel, const char* pFormat,
                      va_list args) __attribute__((format(printf, 6, 0))) = 0;
};

}  // namespace NS_LOG_SERVICE1
