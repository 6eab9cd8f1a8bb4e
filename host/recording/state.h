/// \file
/// What a test has told the recording host, and what the library has asked of it.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "nbihost/corbaconfigitems.h"
#include "nbihost/logservice.h"
#include "nbihost/recordinghost.h"

namespace nbitest {

struct CfgFile {
    std::vector<NS_BUNDLEMGR1::NameValueStru> m_Pairs;
    bool m_bResult = true;
    bool m_bThrows = false;
};

struct State {
    std::vector<LogLine> m_Logs;
    std::vector<std::vector<std::string>> m_FactoryCalls;
    std::vector<std::string> m_CfgFilesRead;
    std::vector<unsigned int> m_CipherSelectors;
    std::map<std::string, int> m_Ints;
    std::map<std::string, std::string> m_Strs;
    std::map<std::string, CfgFile> m_CfgFiles;
    std::function<void()> m_OnLogCalls;
    std::string m_Root;
    std::string m_DecryptedText;
    std::string m_Enciphered;
    std::size_t m_nServiceLookups = 0;
    int m_nEncryptResult = 0;
    int m_nDecryptResult = 0;
    NS_LOG_SERVICE1::LogSvcInterface* m_pLogService = nullptr;
    bool m_bLogRegistered = true;
    bool m_bInterfaceForgotten = false;
    bool m_bForeignService = false;
    bool m_bFailFactory = false;
    bool m_bFailCalls = false;
};

extern std::mutex g_Mutex;
extern State& g_State;  // guarded by g_Mutex; never destroyed: workers may log while the process ends
extern std::atomic<int> g_nFrameworkState;
extern std::atomic<std::size_t> g_nStateQueries;
extern std::atomic<bool> g_bKeepLogs;

using Lock = std::lock_guard<std::mutex>;

}  // namespace nbitest
