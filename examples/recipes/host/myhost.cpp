// A host of one's own in one file: configuration from the environment, log lines to standard error.
#include <nbihost/bundlemgr.h>
#include <nbihost/cfgfile.h>
#include <nbihost/cipher.h>
#include <nbihost/corbaconfigitems.h>
#include <nbihost/logservice.h>
#include <nbihost/objectschema.h>
#include <nbihost/trim.h>
#include <nbiutil/processexception.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "myhost.h"

// [framework]
namespace {

constexpr int LOG_INTERFACE = 1;
std::atomic<int> g_nState{0};

class StderrLog : public NS_LOG_SERVICE1::LogSvcInterface {
public:
    LogSvcInterface* CreateLogger(const char*, const char*, const char*) override { return this; }
    void LogV(const char* pModule, const char*, int nLine, int, const char* pFormat, va_list args) override
    {
        char text[1024];
        std::vsnprintf(text, sizeof text, pFormat, args);
        std::fprintf(stderr, "%s:%d %s\n", pModule, nLine, text);
    }
};

class Framework : public NS_BUNDLEMGR1::BundleMgr {
public:
    int GetState() override { return g_nState; }
    NS_BUNDLEMGR1::ServiceInterface* GetService(int nInterface) override
    {
        if (nInterface != LOG_INTERFACE) throw NS_UTIL::InterfaceNotExistException();
        static auto* const pLog = new StderrLog;  // never deleted: the library keeps the pointer
        return pLog;
    }
};

}  // namespace

void StopMyHost()
{
    g_nState = NS_BUNDLEMGR1::FRAMEWORK_STOPPING;  // for good: a wait that begins later has to end, too
}

namespace NS_BUNDLEMGR1 {

ServiceInterface::~ServiceInterface() = default;
BundleMgr::~BundleMgr() = default;
NULLServiceInterface* NULLServiceInterface::m_pInstance = nullptr;
NULLServiceInterface::NULLServiceInterface(std::string name) : m_Name(std::move(name))
{
}
NULLServiceInterface::~NULLServiceInterface() = default;

BundleMgr* BundleMgr::Instance()
{
    static auto* const pFramework = new Framework;
    return pFramework;
}

std::mutex& GlobalMutex()
{
    static auto* const pMutex = new std::mutex;
    return *pMutex;
}

int CheckIFBuf(const std::string& interfaceName)
{
    return interfaceName == "LogSvcInterface" ? LOG_INTERFACE : -1;
}

}  // namespace NS_BUNDLEMGR1

NS_LOG_SERVICE1::LogSvcInterface::~LogSvcInterface() = default;
// [framework]

// [configuration]
namespace NS_BUNDLEMGR1 {

CorbaConfigItems* CorbaConfigItems::Instance()
{
    static CorbaConfigItems items;
    return &items;
}

bool CorbaConfigItems::GetStrItemInfo(const std::string& name, std::string& value)
{
    const char* const pFound = std::getenv(name.c_str());
    if (pFound != nullptr) value = pFound;
    return pFound != nullptr;
}

bool CorbaConfigItems::GetIntItemInfo(const std::string& name, int& value)
{
    std::string text;
    int nValue = 0;
    if (!GetStrItemInfo(name, text)) return false;
    const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), nValue);
    if (error != std::errc() || pEnd != text.data() + text.size()) return false;
    value = nValue;
    return true;
}

std::string GetTAVOEnvironment()
{
    std::string root = ".";
    CorbaConfigItems::Instance()->GetStrItemInfo("MYHOST_ROOT", root);
    return root;
}

bool GetAllCfgFrmFile(std::vector<NameValueStru>& pairs, const std::string& path, bool)
{
    std::error_code error;
    std::ifstream file(path);
    if (!file || !std::filesystem::is_regular_file(path, error)) return false;
    for (std::string line; std::getline(file, line);) {
        const std::size_t nEquals = line.find('=');
        if (nEquals == std::string::npos || line[0] == ';' || line[0] == '#') continue;
        pairs.push_back({Trim(line.substr(0, nEquals)), Trim(line.substr(nEquals + 1))});
    }
    return true;
}

std::string LTrim(const std::string& text)
{
    const std::size_t nBegin = text.find_first_not_of(" \t\r\n");
    return nBegin == std::string::npos ? "" : text.substr(nBegin);
}
std::string RTrim(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}
std::string Trim(const std::string& text)
{
    return LTrim(RTrim(text));
}

}  // namespace NS_BUNDLEMGR1
// [configuration]

// [rest]
void __SetDirty(ObjectSchema_T& schema, const char* pAttribute)
{
    schema.m_DirtyAttributes.insert(pAttribute);
}

// A server that makes no key pair needs no cipher. One that does takes a real one: this text guards the private key.
int tavoAESCipher::encryptEx(const std::string&, std::string& cipher, unsigned int)
{
    cipher.clear();
    return 1;
}
int tavoAESCipher::decryptEx(const std::string&, std::string& plain, unsigned int)
{
    plain.clear();
    return 1;
}
// [rest]
