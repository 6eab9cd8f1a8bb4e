/// \file
/// The service framework that hosts the server process: its state and its registry of services.
#pragma once

#include <mutex>
#include <string>

#include "nbihost/api.h"

namespace NS_BUNDLEMGR1 {

/// The answer of BundleMgr::GetState() that ends every wait: the framework is stopping. All other answers are
/// the framework's own business.
constexpr int FRAMEWORK_STOPPING = 2;

/// Base of everything the framework's registry holds. Ownership stays with the framework.
class NBIHOST_API ServiceInterface {
public:
    virtual ~ServiceInterface();
};

/// Stand-in for a service that is not there. The process has at most one; whoever needs a service first
/// creates it, and the framework owns it from then on.
class NBIHOST_API NULLServiceInterface : public ServiceInterface {
public:
    explicit NULLServiceInterface(std::string name);
    ~NULLServiceInterface() override;
    const std::string& GetName() const { return m_Name; }

    static NULLServiceInterface* m_pInstance;  // guarded by GlobalMutex()

private:
    std::string m_Name;
};

/// The framework's process-wide mutex.
NBIHOST_API std::mutex& GlobalMutex();

/// Number of the interface called \p interfaceName in the framework's table of interfaces, or -1 when the
/// framework has never heard of it. A number does not mean that the service is registered. Threads: any.
NBIHOST_API int CheckIFBuf(const std::string& interfaceName);

/// The framework's manager of bundles. Threads: any.
class NBIHOST_API BundleMgr {
public:
    /// Never null. The framework owns the object.
    static BundleMgr* Instance();

    virtual ~BundleMgr();

    /// The framework's state; FRAMEWORK_STOPPING is the only answer with a meaning here.
    virtual int GetState() = 0;

    /// The service registered under an interface number that CheckIFBuf() gave. Never null.
    /// \throws NS_UTIL::InterfaceNotExistException when no service is registered there.
    virtual ServiceInterface* GetService(int nInterfaceNumber) = 0;
};

}  // namespace NS_BUNDLEMGR1
