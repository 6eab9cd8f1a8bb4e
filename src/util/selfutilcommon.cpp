#include "nbiutil/selfutilcommon.h"

#include <ace/Process.h>
#include <ace/Process_Manager.h>
#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <system_error>

#include "base/singleton.h"
#include "base/wipedtext.h"
#include "log/log.h"
#include "nbihost/corbaconfigitems.h"
#include "util/childprocess.h"
#include "util/commandline.h"
#include "util/configfile.h"
#include "util/replacetext.h"

namespace NS_UTIL {
namespace {

using NS_BUNDLEMGR1::CorbaConfigItems;
using Texts = std::map<std::string, std::string>;

constexpr const char* MODULE = "selfutilcommon";
constexpr std::size_t RESOLVER_BUFFER = 4096;

// Deliberate: a channel of its own. Operators route the helpers' lines by the bundle "unbi".
LogChannel g_Log("unbi", "unbi", "debug");

std::string ErrorText(int nError)
{
    return nError == 0 ? std::string() : std::generic_category().message(nError);
}

bool IsPathCharacter(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '/';
}

/// A piece of a name=value list; one without "=" is skipped.
void EnterPair(Texts& values, const std::string& piece)
{
    const std::size_t nEqual = piece.find('=');
    if (nEqual != std::string::npos) values[piece.substr(0, nEqual)] = piece.substr(nEqual + 1);
}

/// False, with errno, when there is no child. The manager owns the process object, unless it has no memory or
/// no lock for its list: then it fails although the child runs, and the system collects that with the server.
bool Launch(ChildOptions& options)
{
    ACE_Process_Manager* const pManager = ACE_Process_Manager::instance();
    if (pManager == nullptr) return false;  // no memory, says errno
    auto pChild = std::make_unique<Child<ACE_Managed_Process>>(Streams::INHERITED);
    if (pManager->spawn(pChild.get(), options) == ACE_INVALID_PID) return pChild->getpid() != ACE_INVALID_PID;
    pChild.release();
    return true;
}

/// Waits until this one child has ended. The manager gives up at a signal, without memory or a lock, and when
/// somebody else has collected the child, which the host may do at any time; then it keeps it on its list.
void WaitFor(ACE_Process_Manager& manager, pid_t nChild)
{
    if (manager.wait(nChild) != ACE_INVALID_PID) return;
    WaitForEnd(nChild);
    manager.remove(nChild);
}

/// False, with errno, when there is no child. The process object is ours, not the manager's: a host thread
/// that collects any child of the manager would delete it while we wait in it.
bool Run(ChildOptions& options)
{
    Child<ACE_Process> child(Streams::INHERITED);
    ACE_Process_Manager* const pManager = ACE_Process_Manager::instance();
    if (pManager == nullptr) return false;  // no memory, says errno
    pManager->spawn(&child, options);
    if (child.getpid() == ACE_INVALID_PID) return false;
    WaitFor(*pManager, child.getpid());
    return true;
}

}  // namespace

void SchemaUtil::GetSchemaByOperMask(int nMask, int nFlag, const std::string& name, ObjectSchema_T& schema)
{
    if (nMask != -1 && (nMask & nFlag) != 0) __SetDirty(schema, name.c_str());
}

bool Parser::ParseItemNVByTag(const std::string& item, std::string& name, std::string& value,
                              std::string separators)
{
    const std::size_t nFound = item.find_first_of(separators);
    if (nFound == std::string::npos) return false;
    std::string behind = item.substr(nFound + 1);  // before the outputs change: one of them may be the item
    name = item.substr(0, nFound);
    value = std::move(behind);
    return true;
}

void Parser::SplitStrByTag(const std::string& source, const std::string& separator,
                           std::vector<std::string>& pieces)
{
    std::vector<std::string> found;  // the source may be an element of the vector that grows
    std::size_t nBegin = 0;
    if (!separator.empty()) {
        for (std::size_t nEnd; (nEnd = source.find(separator, nBegin)) != std::string::npos;) {
            found.push_back(source.substr(nBegin, nEnd - nBegin));
            nBegin = nEnd + separator.size();
        }
    }
    found.push_back(source.substr(nBegin));
    pieces.insert(pieces.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
}

std::atomic<SelfUtilCommon*> SelfUtilCommon::m_pInstance{nullptr};

SelfUtilCommon* SelfUtilCommon::Instance()
{
    return InstanceIn(m_pInstance, [] { return new SelfUtilCommon; });
}

void SelfUtilCommon::Destroy()
{
    DestroyIn(m_pInstance, [](SelfUtilCommon* pHelpers) { delete pHelpers; });
}

void SelfUtilCommon::GetDataFromMap(const std::map<int, std::string>& texts, int nKey,
                                    std::string& value) const
{
    const auto found = texts.find(nKey);
    if (found != texts.end()) value = found->second;
}

void SelfUtilCommon::GetDataFromMap(const Texts& texts, const std::string& key, std::string& value) const
{
    const auto found = texts.find(key);
    if (found != texts.end()) value = found->second;
}

bool SelfUtilCommon::GetIntegerValueByName(const Texts& texts, const std::string& name, int& nValue) const
{
    const auto found = texts.find(name);
    if (found == texts.end()) return false;
    nValue = static_cast<int>(std::strtol(found->second.c_str(), nullptr, 10));
    return true;
}

bool SelfUtilCommon::GetSupportCfgItem(const std::string& name, std::string& value) const
{
    return CorbaConfigItems::Instance()->GetStrItemInfo(name, value);
}

bool SelfUtilCommon::IsSupportCfgItem(std::string name) const
{
    int nValue = 0;
    return CorbaConfigItems::Instance()->GetIntItemInfo(name, nValue) && nValue == 1;
}

std::string SelfUtilCommon::upperStr(const std::string& text) const
{
    std::string upper = text;
    for (char& character : upper) {
        character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    }
    return upper;
}

std::string SelfUtilCommon::GetValByTag(const std::string& source, const std::string& startTag,
                                        const std::string& endTag, const int& nOffset) const
{
    const std::size_t nStartTag = source.find(startTag);
    const std::size_t nEndTag = source.find(endTag);
    if (nStartTag == std::string::npos || nEndTag == std::string::npos) return std::string();
    const std::ptrdiff_t nBegin = static_cast<std::ptrdiff_t>(nStartTag) + nOffset;
    const std::ptrdiff_t nEnd = static_cast<std::ptrdiff_t>(nEndTag);
    if (nBegin < 0 || nBegin >= nEnd) return std::string();
    return source.substr(static_cast<std::size_t>(nBegin), static_cast<std::size_t>(nEnd - nBegin));
}

bool SelfUtilCommon::ParserNmsHostName(const std::string& hostName, std::string& address) const
{
    if (hostName.empty() || hostName.find('\0') != std::string::npos) return false;
    std::array<char, RESOLVER_BUFFER> buffer{};
    hostent entry{};
    hostent* pFound = nullptr;
    int nError = 0;
    if (gethostbyname_r(hostName.c_str(), &entry, buffer.data(), buffer.size(), &pFound, &nError) != 0 ||
        pFound == nullptr) {
        return false;
    }
    if (pFound->h_addrtype != AF_INET || pFound->h_length != sizeof(in_addr)) return false;
    std::array<char, INET_ADDRSTRLEN> text;
    if (pFound->h_addr_list[0] == nullptr ||
        inet_ntop(AF_INET, pFound->h_addr_list[0], text.data(), text.size()) == nullptr) {
        return false;
    }
    address = text.data();
    return true;
}

bool SelfUtilCommon::filePathEnvCheck(std::string& path) const
{
    return std::all_of(path.begin(), path.end(), IsPathCharacter);
}

std::string SelfUtilCommon::getEnvValue(const std::string& name) const
{
    const char* const pValue = std::getenv(name.c_str());
    return pValue == nullptr ? std::string() : std::string(pValue);
}

bool SelfUtilCommon::replaceStr(std::string& subject, const std::string& from, const std::string& to) const
{
    if (!from.empty()) subject = ReplaceFromStart(subject, from, to);
    return true;
}

void SelfUtilCommon::GetSpliteFDNData(Texts& values, const std::string& list, std::string separator) const
{
    const std::string text = list;  // the list may be one of the texts that the map holds
    std::size_t nBegin = 0;
    if (!separator.empty()) {
        for (std::size_t nEnd; (nEnd = text.find(separator, nBegin)) != std::string::npos;) {
            EnterPair(values, text.substr(nBegin, nEnd - nBegin));
            // Deliberate: one character, whatever the length of the separator. Names that begin with the rest
            // of a longer separator are what callers look up.
            nBegin = nEnd + 1;
        }
    }
    EnterPair(values, text.substr(nBegin));
}

void SelfUtilCommon::GetSplitNameValueMapbyTag(Texts& values, const std::string& list,
                                               const std::string& separator) const
{
    GetSpliteFDNData(values, list, separator);
}

bool SelfUtilCommon::StartProcess(const std::string& workDir, const std::string& command, bool bWait) const
{
    ChildOptions options;
    // Deliberate: before any other check. A caller with such a directory has lost its way, and going on would
    // run its command somewhere else.
    if (!options.SetWorkingDirectory(workDir)) std::abort();
    errno = CommandError(workDir, command);
    if (errno == 0) {
        options.SetCommand(command);
        if (bWait ? Run(options) : Launch(options)) return true;
    }
    const std::string reason = ErrorText(errno);
    g_Log.Write(Here(MODULE), "[SelfUtilCommon::StartProcess] Fail to launch process.%s", reason.c_str());
    return false;
}

bool SelfUtilCommon::modifyCorbaItemByCfg(const std::string& path, const std::string& key,
                                          const std::string& value, const std::string& commandPrefix) const
{
    WipedText held;
    if (!ReadConfigText(path, held)) {
        g_Log.Write(Here(MODULE), "[SelfUtilCommon::modifyCorbaItemByCfg] Fail to open file!");
        return false;
    }
    WipedText edited;
    EditConfigText(held.m_Text, key, value, edited);
    WipedText command;
    command.m_Text.reserve(commandPrefix.size() + path.size());
    command.m_Text.append(commandPrefix).append(path);
    if (!StartProcess(std::string(), command.m_Text, true)) {
        g_Log.Write(Here(MODULE), "[SelfUtilCommon::modifyCorbaItemByCfg] call StartProcess failed!");
    }
    const StoreResult result = StoreConfigText(path, edited.m_Text);
    if (result == StoreResult::NOT_STORED) {
        const std::string reason = ErrorText(errno);
        g_Log.Write(Here(MODULE), "[SelfUtilCommon::modifyCorbaItemByCfg] Fail to store file! %s",
                    reason.c_str());
    }
    return result == StoreResult::STORED;
}

}  // namespace NS_UTIL
