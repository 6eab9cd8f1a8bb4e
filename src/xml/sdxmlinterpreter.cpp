#include "nbiutil/sdxmlinterpreter.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/lockguard.h"
#include "base/singleton.h"
#include "xml/intlist.h"
#include "xml/shown.h"
#include "xml/staticdescxmlparser.h"

namespace NS_UTIL {
namespace {

// Each takes some of the thread's stack, the interpreter's own included.
constexpr int MOST_NESTED_FILES = 64;

constexpr char MACRO_TAG[] = "macro_desc";
constexpr char INCLUDE_TAG[] = "include";
constexpr char ROOT_TAG[] = "root";
constexpr char INTERPRETER_ATTRIBUTE[] = "interpreter";

/// The number that \p pText begins with, blanks and a sign allowed; 0 if there is none.
int ToInt(const char* pText)
{
    constexpr int DECIMAL = 10;
    return static_cast<int>(std::strtol(pText, nullptr, DECIMAL));
}

/// One file that this thread is parsing or interpreting, for as long as the object lives. Objects are nested
/// like the includes.
class ActiveFile {
public:
    /// \param nDevice, nInode what the file is known by, whatever path led to it
    ActiveFile(dev_t nDevice, ino_t nInode)
        : m_nDevice(nDevice), m_nInode(nInode), m_nDepth(Depth() + 1), m_pOuter(t_pInnermost)
    {
        t_pInnermost = this;
    }
    ~ActiveFile() { t_pInnermost = m_pOuter; }
    ActiveFile(const ActiveFile&) = delete;
    ActiveFile& operator=(const ActiveFile&) = delete;

    /// How many there are.
    static int Depth() { return t_pInnermost == nullptr ? 0 : t_pInnermost->m_nDepth; }

    static bool Contains(dev_t nDevice, ino_t nInode)
    {
        const ActiveFile* pFile = t_pInnermost;
        while (pFile != nullptr && (pFile->m_nDevice != nDevice || pFile->m_nInode != nInode)) {
            pFile = pFile->m_pOuter;
        }
        return pFile != nullptr;
    }

private:
    static thread_local const ActiveFile* t_pInnermost;
    const dev_t m_nDevice;
    const ino_t m_nInode;
    const int m_nDepth;
    const ActiveFile* const m_pOuter;
};
thread_local const ActiveFile* ActiveFile::t_pInnermost = nullptr;

/// Where the failures of this thread's files go, for as long as the object lives.
class Collector {
public:
    explicit Collector(std::vector<XMLParseFailure>& failures) : m_pOuter(t_pInnermost)
    {
        t_pInnermost = &failures;
    }
    ~Collector() { t_pInnermost = m_pOuter; }
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    /// To the innermost list, if anybody asked for one.
    static void Add(XMLParseFailure failure)
    {
        if (t_pInnermost != nullptr) t_pInnermost->push_back(std::move(failure));
    }

private:
    static thread_local std::vector<XMLParseFailure>* t_pInnermost;
    std::vector<XMLParseFailure>* const m_pOuter;
};
thread_local std::vector<XMLParseFailure>* Collector::t_pInnermost = nullptr;

void DefineMacros(const XMLTag& tag, SDXMLInterpreterMgr& mgr)
{
    for (const XMLItem* pItem : XMLItems(tag)) {
        mgr.AddMacorValue(Shown(pItem->m_pName), ToInt(Shown(pItem->m_pValue)));
    }
}

void Include(const XMLTag& tag, SDXMLInterpreterMgr& mgr)
{
    const XMLItems items(tag);
    if (items.begin() != items.end()) mgr.ParseXMLFile((*items.begin())->m_pValue);
}

/// What names a document's interpreter within its file: "/" and a name, or nothing.
std::string InterpreterSuffix(const XMLTag& root)
{
    const char* const pName = root.m_Name == ROOT_TAG ? Attribute(root, INTERPRETER_ATTRIBUTE) : nullptr;
    return pName == nullptr ? "" : std::string("/") + pName;
}

}  // namespace

int SDXMLInterpreter::InterpretXMLTag(const XMLTag& tag)
{
    SDXMLInterpreterMgr* const pMgr = SDXMLInterpreterMgr::Instance();
    if (pMgr == nullptr || tag.m_pChildren == nullptr) return 0;
    for (const XMLTag* pChild : *tag.m_pChildren) {
        if (pChild->m_Name == MACRO_TAG) {
            DefineMacros(*pChild, *pMgr);
        } else if (pChild->m_Name == INCLUDE_TAG) {
            Include(*pChild, *pMgr);
        }
    }
    return 0;
}

SDXMLInterpreter::~SDXMLInterpreter() = default;

int SDXMLInterpreter::AppXMLParseFunc(const TEParserKey& key, const XMLTag& tag, TEParserPara* pPara)
{
    TEParserFuncRegistry* const pRegistry = TEParserFuncRegistry::Instance();
    const TEParserFunc pFunc = pRegistry == nullptr ? nullptr : pRegistry->Find(key);
    return pFunc == nullptr ? 0 : pFunc(tag, pPara);
}

std::atomic<SDXMLInterpreterMgr*> SDXMLInterpreterMgr::m_pInstance{nullptr};

SDXMLInterpreterMgr* SDXMLInterpreterMgr::Instance()
{
    return InstanceIn(m_pInstance, [] { return new SDXMLInterpreterMgr; });
}

void SDXMLInterpreterMgr::Destroy()
{
    DestroyIn(m_pInstance, [](SDXMLInterpreterMgr* pMgr) { delete pMgr; });
}

SDXMLInterpreterMgr::SDXMLInterpreterMgr() : m_pLock(std::make_unique<ACE_RW_Mutex>())
{
}

SDXMLInterpreterMgr::~SDXMLInterpreterMgr()
{
    Clear();
}

void SDXMLInterpreterMgr::Initial()
{
}

void SDXMLInterpreterMgr::RegisterInterpreter(const std::string& name, SDXMLInterpreter* pInterpreter)
{
    WriteGuard guard(*m_pLock);
    m_Interpreters[name] = pInterpreter;
}

SDXMLInterpreter* SDXMLInterpreterMgr::GetInterpreter(const std::string& name)
{
    ReadGuard guard(*m_pLock);
    const auto found = m_Interpreters.find(name);
    return found == m_Interpreters.end() ? nullptr : found->second;
}

void SDXMLInterpreterMgr::Clear()
{
    std::map<std::string, SDXMLInterpreter*> registered;
    {
        WriteGuard guard(*m_pLock);
        registered.swap(m_Interpreters);
    }
    // One interpreter may stand under several names. Without a list of what is deleted already: memory for it may be short,
    // and the end of the manager comes through here.
    for (auto& entry : registered) {
        const SDXMLInterpreter* const pInterpreter = entry.second;
        for (auto& other : registered) {
            if (other.second == pInterpreter) other.second = nullptr;
        }
        delete pInterpreter;
    }
}

void SDXMLInterpreterMgr::AddMacorValue(const std::string& name, int nValue)
{
    WriteGuard guard(*m_pLock);
    m_Macros[name] = nValue;
}

int SDXMLInterpreterMgr::ParseInt(const char* pText)
{
    return pText == nullptr || *pText == '\0' ? 0 : ValueOf(pText);
}

/// \p token must not be followed by a digit: where it is a number, the number ends where the token does.
int SDXMLInterpreterMgr::ValueOf(std::string_view token)
{
    {
        ReadGuard guard(*m_pLock);
        const auto macro = m_Macros.find(token);
        if (macro != m_Macros.end()) return macro->second;
    }
    return ToInt(token.data());
}

template <class Numbers>
void SDXMLInterpreterMgr::ReadListInto(std::string_view text, Numbers& out)
{
    ReadIntList(
        text, [this](std::string_view token) { return ValueOf(token); }, out);
}

void SDXMLInterpreterMgr::ParseIntList(const char* pText, std::list<int>& out)
{
    out.clear();
    ReadListInto(Shown(pText), out);
}

void SDXMLInterpreterMgr::ParseIntList(const char* pText, std::vector<int>& out)
{
    out.clear();
    ReadListInto(Shown(pText), out);
}

void SDXMLInterpreterMgr::ParseNestingList(const char* pText, std::list<std::list<int>>& out)
{
    if (pText == nullptr) return;
    out.clear();
    std::string text(pText);
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\t'; }),
               text.end());
    constexpr char SEPARATORS[] = "{;}";
    const std::string_view view(text);
    std::size_t nStart = view.find_first_not_of(SEPARATORS);
    while (nStart != std::string_view::npos) {
        const std::size_t nEnd = std::min(view.find_first_of(SEPARATORS, nStart), view.size());
        const std::string_view part = view.substr(nStart, nEnd - nStart);
        out.emplace_back();
        if (part.front() == '[') {
            ReadListInto(part, out.back());
        } else {
            out.back().push_back(ValueOf(part));
        }
        nStart = view.find_first_not_of(SEPARATORS, nEnd);
    }
}

void SDXMLInterpreterMgr::setFileName(const std::string& path)
{
    std::string name = path.substr(path.rfind('/') + 1);  // npos + 1 is 0: the whole path
    WriteGuard guard(*m_pLock);
    m_FileName = std::move(name);
}

std::string SDXMLInterpreterMgr::getFileName()
{
    ReadGuard guard(*m_pLock);
    return m_FileName;
}

int SDXMLInterpreterMgr::ParseXMLFile(const char* pPath)
{
    pPath = Shown(pPath);
    if (ActiveFile::Depth() == MOST_NESTED_FILES) {
        std::printf("[ParseXMLFile] includes nested too deep: %s\n", pPath);
        Collector::Add({pPath, 0, "is included too deep, which is left out"});
        return -1;
    }
    struct stat status = {};
    const bool bThere = stat(pPath, &status) == 0;
    if (bThere && ActiveFile::Contains(status.st_dev, status.st_ino)) {
        std::printf("[ParseXMLFile] File %s is being parsed already\n", pPath);
        Collector::Add({pPath, 0, "includes itself, which is left out"});
        return -1;
    }
    const ActiveFile active(status.st_dev, status.st_ino);
    StaticDescXMLParser parser;
    if (parser.ParseFile(pPath) != 0) {
        Collector::Add(parser.Failure());
        return -1;
    }
    setFileName(pPath);
    // Deliberate: a file that parses is a success whatever became of its document. Callers load files for
    // which no interpreter is registered, and go on.
    Dispatch(parser.Root());
    return 0;
}

int SDXMLInterpreterMgr::ParseXMLFile(const char* pPath, std::vector<XMLParseFailure>& failures)
{
    const Collector collector(failures);
    return ParseXMLFile(pPath);
}

bool SDXMLInterpreterMgr::ParseXMLBuffer(const void* pData, unsigned long nLength)
{
    if (pData == nullptr || nLength == 0) return false;
    StaticDescXMLParser parser;
    return parser.ParseText(pData, nLength) && Dispatch(parser.Root()) == 0;
}

int SDXMLInterpreterMgr::Dispatch(const XMLTag& root)
{
    SDXMLInterpreter* const pInterpreter = GetInterpreter(getFileName() + InterpreterSuffix(root));
    return pInterpreter == nullptr ? -1 : pInterpreter->InterpretXMLTag(root);
}

}  // namespace NS_UTIL
