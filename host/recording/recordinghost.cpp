#include "nbihost/recordinghost.h"

#include <utility>

#include "annexkfaults.h"
#include "state.h"

namespace nbitest {

std::mutex g_Mutex;
State& g_State = *new State;
std::atomic<int> g_nFrameworkState{0};
std::atomic<std::size_t> g_nStateQueries{0};
std::atomic<bool> g_bKeepLogs{true};

std::ostream& operator<<(std::ostream& out, const LogLine& line)
{
    return out << line.m_File << ':' << line.m_nLine << " (" << line.m_Function << ", level " << line.m_nLevel
               << ") \"" << line.m_Text << '"';
}

RecordingHost::RecordingHost()
{
    Lock lock(g_Mutex);
    g_State = State{};
    g_nFrameworkState = 0;
    g_nStateQueries = 0;
    g_bKeepLogs = true;
    annexk::g_Faults.Clear();
}

RecordingHost::~RecordingHost() = default;

std::vector<LogLine> RecordingHost::Logs() const
{
    Lock lock(g_Mutex);
    return g_State.m_Logs;
}

std::vector<LogLine> RecordingHost::LogsOf(const std::string& file) const
{
    std::vector<LogLine> found;
    for (const LogLine& line : Logs()) {
        if (line.m_File == file) found.push_back(line);
    }
    return found;
}

std::vector<LogLine> RecordingHost::LogsAt(const std::string& file, int nLine) const
{
    std::vector<LogLine> found;
    for (const LogLine& line : LogsOf(file)) {
        if (line.m_nLine == nLine) found.push_back(line);
    }
    return found;
}

void RecordingHost::ClearLogs()
{
    Lock lock(g_Mutex);
    g_State.m_Logs.clear();
}

void RecordingHost::RegisterLogService(bool bRegistered)
{
    Lock lock(g_Mutex);
    g_State.m_bLogRegistered = bRegistered;
}

void RecordingHost::ForgetLogInterface(bool bForgotten)
{
    Lock lock(g_Mutex);
    g_State.m_bInterfaceForgotten = bForgotten;
}

void RecordingHost::RegisterForeignService(bool bForeign)
{
    Lock lock(g_Mutex);
    g_State.m_bForeignService = bForeign;
}

void RecordingHost::SetLogService(NS_LOG_SERVICE1::LogSvcInterface* pService)
{
    Lock lock(g_Mutex);
    g_State.m_pLogService = pService;
}

void RecordingHost::FailLogFactory(bool bFail)
{
    Lock lock(g_Mutex);
    g_State.m_bFailFactory = bFail;
}

void RecordingHost::OnLogCalls(std::function<void()> action)
{
    Lock lock(g_Mutex);
    g_State.m_OnLogCalls = std::move(action);
}

void RecordingHost::FailLogCalls(bool bFail)
{
    Lock lock(g_Mutex);
    g_State.m_bFailCalls = bFail;
}

std::vector<std::vector<std::string>> RecordingHost::FactoryCalls() const
{
    Lock lock(g_Mutex);
    return g_State.m_FactoryCalls;
}

std::size_t RecordingHost::ServiceLookups() const
{
    Lock lock(g_Mutex);
    return g_State.m_nServiceLookups;
}

void RecordingHost::KeepLogs(bool bKeep)
{
    g_bKeepLogs = bKeep;
}

void RecordingHost::SetState(int nState)
{
    g_nFrameworkState = nState;
}

std::size_t RecordingHost::StateQueries() const
{
    return g_nStateQueries;
}

void RecordingHost::SetInt(const std::string& name, int nValue)
{
    Lock lock(g_Mutex);
    g_State.m_Ints[name] = nValue;
}

void RecordingHost::SetStr(const std::string& name, const std::string& value)
{
    Lock lock(g_Mutex);
    g_State.m_Strs[name] = value;
}

void RecordingHost::SetRoot(const std::string& root)
{
    Lock lock(g_Mutex);
    g_State.m_Root = root;
}

void RecordingHost::SetCfgFile(const std::string& path,
                               const std::vector<NS_BUNDLEMGR1::NameValueStru>& pairs, bool bResult)
{
    Lock lock(g_Mutex);
    g_State.m_CfgFiles[path] = CfgFile{pairs, bResult};
}

void RecordingHost::FailCfgFile(const std::string& path)
{
    Lock lock(g_Mutex);
    g_State.m_CfgFiles[path].m_bThrows = true;
}

std::vector<std::string> RecordingHost::CfgFilesRead() const
{
    Lock lock(g_Mutex);
    return g_State.m_CfgFilesRead;
}

void RecordingHost::SetEncryptResult(int nResult)
{
    Lock lock(g_Mutex);
    g_State.m_nEncryptResult = nResult;
}

void RecordingHost::SetDecryptResult(int nResult)
{
    Lock lock(g_Mutex);
    g_State.m_nDecryptResult = nResult;
}

void RecordingHost::SetDecryptedText(const std::string& text)
{
    Lock lock(g_Mutex);
    g_State.m_DecryptedText = text;
}

std::string RecordingHost::LastEnciphered() const
{
    Lock lock(g_Mutex);
    return g_State.m_Enciphered;
}

std::vector<unsigned int> RecordingHost::CipherSelectors() const
{
    Lock lock(g_Mutex);
    return g_State.m_CipherSelectors;
}

void RecordingHost::FailMemcpy(int nCalls)
{
    annexk::g_Faults.m_nMemcpy = nCalls;
}
void RecordingHost::FailMemset(int nCalls)
{
    annexk::g_Faults.m_nMemset = nCalls;
}
void RecordingHost::FailStrncpy(int nCalls)
{
    annexk::g_Faults.m_nStrncpy = nCalls;
}
void RecordingHost::FailSnprintf(int nCalls)
{
    annexk::g_Faults.m_nSnprintf = nCalls;
}

}  // namespace nbitest
