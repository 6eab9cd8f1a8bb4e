/// \file
/// The framework of the standalone host: its state and its table of services.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "nbihost/bundlemgr.h"

namespace nbihost {

/// One per process, made on first use. Threads: any.
class Framework : public NS_BUNDLEMGR1::BundleMgr {
public:
    static constexpr int RUNNING = 1;

    static Framework& Instance();

    int GetState() override;
    void SetState(int nState);

    /// Enters \p pService under \p interfaceName; null takes the service away and keeps the number.
    void Register(const std::string& interfaceName, NS_BUNDLEMGR1::ServiceInterface* pService);
    int NumberOf(const std::string& interfaceName);
    NS_BUNDLEMGR1::ServiceInterface* GetService(int nInterface) override;

private:
    struct Entry {
        std::string m_Name;
        NS_BUNDLEMGR1::ServiceInterface* m_pService;
    };

    std::atomic<int> m_nState{RUNNING};
    std::mutex m_Mutex;
    std::vector<Entry> m_Entries;  // guarded by m_Mutex; an interface's number is its index
};

}  // namespace nbihost
