/// \file
/// Static-description files and who interprets them: the manager that parses a file and hands its tree to the
/// interpreter registered for it, the macros and list syntax that the files share, and the registry of
/// application parse functions.
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nbiutil/export.h"
#include "nbiutil/xmltag.h"

class ACE_RW_Mutex;

namespace NS_UTIL {

/// Defined by the application; this library only passes pointers to it through.
class TEParserPara;

/// Names an application parse function by three texts. Ordered by the first, then the second, then the third,
/// each byte by byte.
class NBI_EXPORT TEParserKey {
public:
    TEParserKey(std::string first, std::string second, std::string third);
    TEParserKey(const TEParserKey&) = default;
    TEParserKey(TEParserKey&&) = default;
    TEParserKey& operator=(const TEParserKey&) = default;
    TEParserKey& operator=(TEParserKey&&) = default;
    virtual ~TEParserKey();

    const std::string& First() const { return m_First; }
    const std::string& Second() const { return m_Second; }
    const std::string& Third() const { return m_Third; }

private:
    std::string m_First;
    std::string m_Second;
    std::string m_Third;
};
NBI_EXPORT bool operator<(const TEParserKey& left, const TEParserKey& right);

/// An application's parse function; what the result means is the application's own affair.
using TEParserFunc = int (*)(const XMLTag& tag, TEParserPara* pPara);

/// The application's parse functions by key. Lives as long as the process. Threads: any.
class NBI_EXPORT TEParserFuncRegistry {
public:
    /// Null only when there is no registry yet and the static-object lock cannot be taken.
    static TEParserFuncRegistry* Instance();

    /// Sets the function for \p key, in place of an earlier one.
    void Register(const TEParserKey& key, TEParserFunc func);
    /// \return how many entries went: 0 or 1.
    std::size_t Remove(const TEParserKey& key);
    /// Removes every key whose second text is \p second.
    /// \return how many entries went.
    std::size_t RemoveBySecond(const std::string& second);
    /// The function for \p key, or null. A key that is absent has an entry without a function from then on.
    TEParserFunc Find(const TEParserKey& key);

private:
    TEParserFuncRegistry();
    ~TEParserFuncRegistry();

    static std::atomic<TEParserFuncRegistry*> m_pInstance;
    const std::unique_ptr<ACE_RW_Mutex> m_pLock;
    std::map<TEParserKey, TEParserFunc> m_Funcs;  // guarded by m_pLock
};

/// Interprets the documents it is registered for. Derive one per kind of description file, and call the base
/// InterpretXMLTag() where the reserved elements are to take effect. The order of the virtual operations is
/// part of the binary interface.
class NBI_EXPORT SDXMLInterpreter {
public:
    SDXMLInterpreter() = default;
    SDXMLInterpreter(const SDXMLInterpreter&) = delete;
    SDXMLInterpreter& operator=(const SDXMLInterpreter&) = delete;

    /// Called with the document element, on the thread that parses, with no lock of the manager held. The
    /// tree goes away afterwards: copy what is to be kept. The base handles, among the children of \p tag and
    /// in document order,
    /// - "macro_desc": each attribute defines the macro of its name by the decimal number in its value;
    /// - "include": the file that the first attribute names, whatever it is called, is parsed at once. A
    ///   relative path resolves against the working directory, not against the including file. A file that
    ///   fails does not stop the interpretation;
    /// and ignores the others.
    /// \return 0
    virtual int InterpretXMLTag(const XMLTag& tag);
    virtual ~SDXMLInterpreter();
    /// Calls the function that TEParserFuncRegistry holds for \p key.
    /// \return its result, or 0 without one.
    virtual int AppXMLParseFunc(const TEParserKey& key, const XMLTag& tag, TEParserPara* pPara);
};

/// Why a file could not be parsed.
struct XMLParseFailure {
    std::string m_File;    ///< as it was given to the parser
    int m_nLine = 0;       ///< from 1; 0 where no line is to blame
    std::string m_Reason;  ///< for people: "mismatched tag", "cannot be read: No such file or directory"
};

/// Entry point for static-description files: one per process, from the first Instance() to Destroy().
/// Threads: registration, look-ups, macros and lists from any. Parse files from one thread: a document is
/// dispatched under the file name stored last, which may be another thread's.
/// Ownership: the manager deletes the interpreters that are registered when it is cleared or destroyed, each
/// once.
/// Clear() and Destroy() are for moments when no thread parses: they delete an interpreter also while it
/// runs.
/// Locks: the manager's own is held neither while a file is parsed, nor while an interpreter runs or is
/// deleted.
/// Destroy() deletes under the process-wide static-object lock, which every first Instance() takes: a
/// destructor may use the singletons, and must not wait for another thread that may do so.
class NBI_EXPORT SDXMLInterpreterMgr {
public:
    /// Null only when there is no manager yet and the static-object lock cannot be taken.
    static SDXMLInterpreterMgr* Instance();
    /// Deletes the manager, its interpreters and macros. Nobody may be using it.
    static void Destroy();

    /// Does nothing; there is nothing to prepare.
    void Initial();

    /// \param name last component of the path of the files to interpret; for documents whose element "root"
    /// has an attribute "interpreter", followed by "/" and that attribute's value. An interpreter that was
    /// registered under \p name is replaced, and is the caller's from then on.
    void RegisterInterpreter(const std::string& name, SDXMLInterpreter* pInterpreter);
    /// The interpreter registered under \p name, or null.
    SDXMLInterpreter* GetInterpreter(const std::string& name);
    /// Deletes every registered interpreter; macros and the file name stay. A destructor may call the
    /// manager.
    void Clear();

    /// Sets a macro; a later definition wins.
    void AddMacorValue(const std::string& name, int nValue);

    /// The macro named \p pText; else the decimal number that \p pText begins with, cut to 32 bits; else 0.
    /// A null or empty text is 0 even if there is a macro of that name.
    int ParseInt(const char* pText);

    /// Reads a list such as "[1,3-5,MAX]" into \p out, which is emptied first; a null text gives an empty
    /// list. A token is a run of ASCII letters, digits and "_", and is read like ParseInt(). An item counts
    /// when "," or "]" follows it: 1,2,3 gives 1 and 2. An empty item repeats the value before it, so that []
    /// gives 0. "-" makes an ascending range, empty when its start is the greater; a negative number needs a
    /// macro.
    void ParseIntList(const char* pText, std::list<int>& out);
    void ParseIntList(const char* pText, std::vector<int>& out);

    /// Reads lists such as "{[1,2];[5-7];MAX;9}" into \p out, which is emptied first; a null text leaves it
    /// as it was. Blanks and tabs do not count. A part that does not begin with "[" is a list of one number.
    void ParseNestingList(const char* pText, std::list<std::list<int>>& out);

    /// Stores what follows the last "/" of \p path; documents are dispatched under it.
    void setFileName(const std::string& path);
    std::string getFileName();

    /// Parses a file, stores its name and hands its document element to the interpreter registered for it.
    /// \return 0 when the file was parsed, whatever its interpreter answered and even if there was none; -1
    /// when it could not be parsed, is being parsed already by this thread (it includes itself), or would be
    /// the 65th that this thread has begun and not finished, with a line on standard output. Entities that
    /// make a hundred times of a file, and more than 64 KiB, are an error of the file. Deliberate: a file cut
    /// off in the middle is parsed up to the cut, unless its length is a multiple of 256 bytes; see
    /// StaticDescXMLParser.
    int ParseXMLFile(const char* pPath);

    /// The same, for callers who want to know why: what is on standard output is there as well.
    /// \param[in,out] failures gets the failures appended, in their order: of this file, and of all that are
    ///                         parsed by this thread meanwhile, as included ones are
    int ParseXMLFile(const char* pPath, std::vector<XMLParseFailure>& failures);

    /// Parses a text in memory and hands its document element to the interpreter registered under the file
    /// name stored last.
    /// \return true when the text was parsed and the interpreter answered 0.
    /// \param nLength bytes at \p pData; a length of 0 is refused. When its low 32 bits are negative as a
    /// signed number, \p pData is a zero-terminated text.
    bool ParseXMLBuffer(const void* pData, unsigned long nLength);

private:
    SDXMLInterpreterMgr();
    ~SDXMLInterpreterMgr();
    int Dispatch(const XMLTag& root);
    int ValueOf(std::string_view token);
    template <class Numbers>
    void ReadListInto(std::string_view text, Numbers& out);

    static std::atomic<SDXMLInterpreterMgr*> m_pInstance;
    const std::unique_ptr<ACE_RW_Mutex> m_pLock;
    std::map<std::string, SDXMLInterpreter*> m_Interpreters;  // guarded by m_pLock
    std::map<std::string, int, std::less<>> m_Macros;         // guarded by m_pLock
    std::string m_FileName;                                   // guarded by m_pLock
};

}  // namespace NS_UTIL
