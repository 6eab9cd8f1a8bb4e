/// \file
/// A host for tests: it records every log call, serves what a test sets, and makes each service fail on
/// demand. A program that links the CMake target nbiutil::testing runs on it instead of on the host that the
/// library was linked with; link that one behind it, or not at all.
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "nbihost/api.h"
#include "nbihost/cfgfile.h"

namespace NS_LOG_SERVICE1 {
class LogSvcInterface;
}

namespace nbitest {

/// One recorded log call, formatted.
struct LogLine {
    std::string m_File;
    std::string m_Function;
    int m_nLine = 0;
    int m_nLevel = 0;
    std::string m_Text;
    unsigned long m_nThread = 0;  // pthread_self() of the caller

    bool operator==(const LogLine& other) const
    {
        return m_File == other.m_File && m_Function == other.m_Function && m_nLine == other.m_nLine &&
               m_nLevel == other.m_nLevel && m_Text == other.m_Text;
    }
};
NBIHOST_API std::ostream& operator<<(std::ostream& out, const LogLine& line);

/// What each test sets and asks. The services behind it belong to the process, since the library caches them;
/// constructing a RecordingHost puts them back to their defaults: state 0, log service registered, no items,
/// an empty root, a reversible cipher, bounds-checked functions that work. Threads: any; one lock guards
/// everything.
class NBIHOST_API RecordingHost {
public:
    RecordingHost();
    ~RecordingHost();
    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;

    // Log service
    /// Every line since the construction or ClearLogs(), in the order in which the calls ended; those of the
    /// module \p file; those of its line number \p nLine.
    std::vector<LogLine> Logs() const;
    std::vector<LogLine> LogsOf(const std::string& file) const;
    std::vector<LogLine> LogsAt(const std::string& file, int nLine) const;
    void ClearLogs();
    /// false: BundleMgr::GetService raises InterfaceNotExistException. No effect once the library has cached
    /// it.
    void RegisterLogService(bool bRegistered);
    /// true: the framework's interface table does not hold the log service's name.
    void ForgetLogInterface(bool bForgotten);
    /// true: another kind of service is registered under the log service's number.
    void RegisterForeignService(bool bForeign);
    /// Another log service in place of the recording one (null: the recording one again); it outlives the
    /// process's last log call. No effect once the library has cached one.
    void SetLogService(NS_LOG_SERVICE1::LogSvcInterface* pService);
    /// true: the factory operation throws.
    void FailLogFactory(bool bFail);
    /// Every log call calls \p action first, on its thread.
    void OnLogCalls(std::function<void()> action);
    /// true: every log call throws after it has been recorded.
    void FailLogCalls(bool bFail);
    /// The three factory texts of every successful or failed factory call, in order.
    std::vector<std::vector<std::string>> FactoryCalls() const;
    /// How often the framework was asked for a service.
    std::size_t ServiceLookups() const;
    /// false: log calls are dropped unformatted, for tests that write millions of lines.
    void KeepLogs(bool bKeep);

    // Framework
    /// What BundleMgr::GetState() answers from now on; NS_BUNDLEMGR1::FRAMEWORK_STOPPING ends every wait.
    void SetState(int nState);
    /// How often the state was asked for.
    std::size_t StateQueries() const;

    // Configuration
    /// Items, as CorbaConfigItems serves them, and the root; what is not set is not there.
    void SetInt(const std::string& name, int nValue);
    void SetStr(const std::string& name, const std::string& value);
    void SetRoot(const std::string& root);
    /// GetAllCfgFrmFile() answers \p bResult for \p path and appends \p pairs; for any other path, or without the flag
    /// that the library always sets, it answers false.
    void SetCfgFile(const std::string& path, const std::vector<NS_BUNDLEMGR1::NameValueStru>& pairs,
                    bool bResult = true);
    /// GetAllCfgFrmFile() throws std::bad_alloc for \p path, behind what SetCfgFile() says.
    void FailCfgFile(const std::string& path);
    /// Every path that GetAllCfgFrmFile() was asked for, in order.
    std::vector<std::string> CfgFilesRead() const;

    // Cipher: text to hexadecimal text and back
    void SetEncryptResult(int nResult);  // not 0: the cipher text stays empty
    void SetDecryptResult(int nResult);
    void SetDecryptedText(const std::string& text);  // not empty: what every cipher text deciphers to
    /// The plain text of the last encryptEx() that worked.
    std::string LastEnciphered() const;
    /// The selectors of every cipher call, in order.
    std::vector<unsigned int> CipherSelectors() const;

    // Bounds-checked functions: the next nCalls calls answer a failure and change nothing
    void FailMemcpy(int nCalls);
    void FailMemset(int nCalls);
    void FailStrncpy(int nCalls);
    void FailSnprintf(int nCalls);
};

}  // namespace nbitest
