// The framework that the library asks: what a test has said, and a record of each call.
#include <pthread.h>

#include <cstdarg>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <utility>

#include "nbihost/bundlemgr.h"
#include "nbihost/cipher.h"
#include "nbihost/corbaconfigitems.h"
#include "nbihost/logservice.h"
#include "nbihost/objectschema.h"
#include "nbihost/standalone.h"
#include "nbiutil/processexception.h"
#include "state.h"

namespace nbitest {
namespace {

constexpr int LOG_INTERFACE = 0;  // the lowest there is

std::string Format(const char* pFormat, std::va_list args)
{
    std::va_list again;
    va_copy(again, args);
    const int nLength = std::vsnprintf(nullptr, 0, pFormat, again);
    va_end(again);
    if (nLength < 0) return "<bad format>";
    std::string text(static_cast<std::size_t>(nLength), '\0');
    std::vsnprintf(&text[0], text.size() + 1, pFormat, args);
    return text;
}

/// Without the lock: what is called may log, or ask the host.
void CallLogAction()
{
    std::function<void()> action;
    {
        Lock lock(g_Mutex);
        action = g_State.m_OnLogCalls;
    }
    if (action) action();
}

class RecordingLog : public NS_LOG_SERVICE1::LogSvcInterface {
public:
    LogSvcInterface* CreateLogger(const char* pBundle, const char* pModel, const char* pLevel) override
    {
        Lock lock(g_Mutex);
        g_State.m_FactoryCalls.push_back({pBundle, pModel, pLevel});
        if (g_State.m_bFailFactory) throw std::runtime_error("no logger");
        return this;
    }

    void LogV(const char* pFile, const char* pFunction, int nLine, int nLevel, const char* pFormat,
              std::va_list args) override
    {
        if (!g_bKeepLogs) return;
        CallLogAction();
        LogLine line;
        line.m_File = pFile;
        line.m_Function = pFunction;
        line.m_nLine = nLine;
        line.m_nLevel = nLevel;
        line.m_Text = Format(pFormat, args);
        line.m_nThread = static_cast<unsigned long>(pthread_self());
        Lock lock(g_Mutex);
        g_State.m_Logs.push_back(std::move(line));
        if (g_State.m_bFailCalls) throw std::runtime_error("log service failed");
    }
};

class ForeignService : public NS_BUNDLEMGR1::ServiceInterface {};

// Deliberate: never deleted. The library caches the pointer for the life of the process.
RecordingLog& Log()
{
    static auto* pLog = new RecordingLog;
    return *pLog;
}

class RecordingBundleMgr : public NS_BUNDLEMGR1::BundleMgr {
public:
    int GetState() override
    {
        ++g_nStateQueries;
        return g_nFrameworkState;
    }

    NS_BUNDLEMGR1::ServiceInterface* GetService(int nInterface) override
    {
        static ForeignService foreign;
        Lock lock(g_Mutex);
        ++g_State.m_nServiceLookups;
        if (nInterface != LOG_INTERFACE || !g_State.m_bLogRegistered) {
            throw NS_UTIL::InterfaceNotExistException();
        }
        if (g_State.m_bForeignService) return &foreign;
        if (g_State.m_pLogService != nullptr) return g_State.m_pLogService;
        return &Log();
    }
};

std::string HexOf(const std::string& plain)
{
    std::string text;
    for (const char byte : plain) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x",
                      static_cast<unsigned int>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    return text;
}

bool BytesOf(const std::string& hex, std::string& plain)
{
    if (hex.empty() || hex.size() % 2 != 0) return false;
    if (hex.find_first_not_of("0123456789abcdef") != std::string::npos) return false;
    plain.reserve(hex.size() / 2);  // at once, so that no part of a secret stays behind in a freed block
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        plain += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return true;
}

}  // namespace
}  // namespace nbitest

using nbitest::g_Mutex;
using nbitest::g_State;
using nbitest::Lock;

namespace NS_BUNDLEMGR1 {

int CheckIFBuf(const std::string& interfaceName)
{
    Lock lock(g_Mutex);
    return interfaceName == "LogSvcInterface" && !g_State.m_bInterfaceForgotten ? nbitest::LOG_INTERFACE : -1;
}

BundleMgr* BundleMgr::Instance()
{
    // Never destroyed, since workers ask until the process has ended; not of the heap, since tests count what is there.
    alignas(nbitest::RecordingBundleMgr) static unsigned char place[sizeof(nbitest::RecordingBundleMgr)];
    static auto* const pManager = new (place) nbitest::RecordingBundleMgr;
    return pManager;
}

CorbaConfigItems* CorbaConfigItems::Instance()
{
    static CorbaConfigItems items;
    return &items;
}

bool CorbaConfigItems::GetIntItemInfo(const std::string& name, int& value)
{
    Lock lock(g_Mutex);
    const auto found = g_State.m_Ints.find(name);
    if (found == g_State.m_Ints.end()) return false;
    value = found->second;
    return true;
}

bool CorbaConfigItems::GetStrItemInfo(const std::string& name, std::string& value)
{
    Lock lock(g_Mutex);
    const auto found = g_State.m_Strs.find(name);
    if (found == g_State.m_Strs.end()) return false;
    value = found->second;
    return true;
}

bool GetAllCfgFrmFile(std::vector<NameValueStru>& pairs, const std::string& path, bool bReload)
{
    Lock lock(g_Mutex);
    g_State.m_CfgFilesRead.push_back(path);
    const auto found = g_State.m_CfgFiles.find(path);
    if (found == g_State.m_CfgFiles.end() || !bReload) return false;
    pairs.insert(pairs.end(), found->second.m_Pairs.begin(), found->second.m_Pairs.end());
    if (found->second.m_bThrows) throw std::bad_alloc();
    return found->second.m_bResult;
}

std::string GetTAVOEnvironment()
{
    Lock lock(g_Mutex);
    return g_State.m_Root;
}

}  // namespace NS_BUNDLEMGR1

void __SetDirty(ObjectSchema_T& schema, const char* pAttribute)
{
    schema.m_DirtyAttributes.insert(pAttribute);
}

int tavoAESCipher::encryptEx(const std::string& plain, std::string& cipher, unsigned int nSelector)
{
    Lock lock(g_Mutex);
    g_State.m_CipherSelectors.push_back(nSelector);
    cipher.clear();
    if (g_State.m_nEncryptResult != 0) return g_State.m_nEncryptResult;
    g_State.m_Enciphered = plain;
    cipher = nbitest::HexOf(plain);
    return 0;
}

int tavoAESCipher::decryptEx(const std::string& cipher, std::string& plain, unsigned int nSelector)
{
    Lock lock(g_Mutex);
    g_State.m_CipherSelectors.push_back(nSelector);
    plain.clear();
    if (g_State.m_nDecryptResult != 0) return g_State.m_nDecryptResult;
    if (!g_State.m_DecryptedText.empty()) {
        plain = g_State.m_DecryptedText;
        return 0;
    }
    return nbitest::BytesOf(cipher, plain) ? 0 : 1;
}

namespace nbihost {

/// The program's own lines are recorded like the library's.
void Log(LogLevel level, const char* pModule, const char* pFormat, ...)
{
    std::va_list args;
    va_start(args, pFormat);
    nbitest::Log().LogV(pModule, "", 0, level, pFormat, args);
    va_end(args);
}

}  // namespace nbihost
