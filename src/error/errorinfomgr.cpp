#include "nbiutil/errorinfomgr.h"

#include <dirent.h>

#include <cstdlib>
#include <deque>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "base/lockguard.h"
#include "base/singleton.h"
#include "error/reasontable.h"
#include "log/log.h"
#include "nbihost/cfgfile.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "errorinfomgr";
constexpr SourceMark FILE_NOT_READ{MODULE, 74};

constexpr const char* ACCESS_FILE = "errcode_ACCESS_TDT.res";

/// Where the files of one language lie, below the installation root.
struct LanguagePaths {
    const char* m_pDirectory;
    const char* m_pStaticDataFile;
};
constexpr LanguagePaths ENGLISH{"/../etc/nbires/en_US/",
                                "/../nbi/corba/res/staticdata/en_US/errcode_TAVO_TDT.res"};
constexpr LanguagePaths CHINESE{"/../etc/nbires/zh_CN/",
                                "/../nbi/corba/res/staticdata/zh_CN/errcode_TAVO_TDT.res"};

struct DirectoryCloser {
    void operator()(DIR* pDirectory) const { closedir(pDirectory); }
};

/// Every entry of a directory as a path, in listing order but for the access file, which comes first: all
/// other files may replace its texts. None when the directory does not open.
std::deque<std::string> ListFiles(const std::string& directory)
{
    std::deque<std::string> files;
    const std::unique_ptr<DIR, DirectoryCloser> pDirectory(opendir(directory.c_str()));
    if (pDirectory == nullptr) return files;
    // readdir is reentrant on a handle of its own.
    while (const dirent* pEntry = readdir(pDirectory.get())) {
        const std::string name = pEntry->d_name;
        if (name == "." || name == "..") continue;
        if (name == ACCESS_FILE) {
            files.push_front(directory + name);
        } else {
            files.push_back(directory + name);
        }
    }
    return files;
}

unsigned long CodeOf(const std::string& name)
{
    return std::strtoul(name.c_str(), nullptr, 0);
}

using Pairs = std::vector<NS_BUNDLEMGR1::NameValueStru>;

/// What a resource file holds. A host that throws cannot read the file: the load goes on without it.
/// \return false when it cannot be read; pairs that came before the failure stay
bool ReadPairs(Pairs& pairs, const std::string& path)
try {
    return NS_BUNDLEMGR1::GetAllCfgFrmFile(pairs, path, true);
} catch (...) {
    return false;
}

void LogNotRead(const std::string& path)
{
    WriteLog(FILE_NOT_READ,
             "[ErrorInfoMgr::ReadErrorInfoFrmCfg] Call GetAllCfgFrmFile error, failed to read file = %s",
             path.c_str());
}

}  // namespace

std::atomic<ErrorInfoMgr*> ErrorInfoMgr::m_pInstance{nullptr};

ErrorInfoMgr::ErrorInfoMgr()
    : m_pLoadLock(std::make_unique<ACE_RW_Mutex>()),
      m_pCatalogueLock(std::make_unique<ACE_RW_Mutex>()),
      m_pCatalogue(std::make_unique<ReasonTable>())
{
}

ErrorInfoMgr::~ErrorInfoMgr() = default;

ErrorInfoMgr* ErrorInfoMgr::Instance()
{
    return InstanceIn(m_pInstance, [] { return new ErrorInfoMgr; });
}

void ErrorInfoMgr::Destroy()
{
    DestroyIn(m_pInstance, [](ErrorInfoMgr* pCatalogue) { delete pCatalogue; });
}

bool ErrorInfoMgr::IsLoaded()
{
    WriteGuard guard(*m_pLoadLock);
    return m_bLoaded;
}

void ErrorInfoMgr::LoadErrorInfoFrmCfg(bool bEnglish)
{
    if (IsLoaded()) return;
    const std::string root = NS_BUNDLEMGR1::GetTAVOEnvironment();
    const LanguagePaths& language = bEnglish ? ENGLISH : CHINESE;
    std::deque<std::string> files = ListFiles(root + language.m_pDirectory);
    files.push_back(root + language.m_pStaticDataFile);
    for (const std::string& path : files) ReadErrorInfoFrmCfg(path);
}

void ErrorInfoMgr::ReadErrorInfoFrmCfg(const std::string& path)
{
    Pairs pairs;
    const bool bRead = ReadPairs(pairs, path);
    if (!bRead) LogNotRead(path);
    try {
        WriteGuard guard(*m_pCatalogueLock);
        for (NS_BUNDLEMGR1::NameValueStru& pair : pairs) {
            m_pCatalogue->Set(CodeOf(pair.m_Name), std::move(pair.m_Value));
        }
    } catch (const std::bad_alloc&) {
        if (bRead) LogNotRead(path);  // the entries that found room stay
    }
}

void ErrorInfoMgr::GetErrReasonByErrCode(std::string& reason, const unsigned long& nCode)
{
    ReadGuard guard(*m_pCatalogueLock);
    if (const std::string* const pFound = m_pCatalogue->Find(nCode)) {
        reason = *pFound;
    } else {
        reason.clear();
    }
}

void ErrorInfoMgr::SetErrReasonByErrCode(const std::string& reason, const unsigned long& nCode)
{
    WriteGuard guard(*m_pCatalogueLock);
    m_pCatalogue->Set(nCode, reason);
}

}  // namespace NS_UTIL
