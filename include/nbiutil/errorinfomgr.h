/// \file
/// The catalogue of error reasons.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "nbiutil/export.h"

class ACE_RW_Mutex;

namespace NS_UTIL {

class ReasonTable;

/// Catalogue from error code to reason text, in one language at a time. Entries are added and replaced, never
/// removed: after a second language has been loaded, codes that only the first one has keep its text.
/// Ownership: one per process, from the first Instance() to Destroy(); callers never delete it.
/// Threads: any; readers share the lock, the entries of one file go in as one step. Threads that look
/// codes up without a pause can keep a load waiting: the system's lock lets readers pass first.
/// Errors: none is returned. A file that cannot be read, for lack of memory too, costs one log line, and a
/// load goes on with the next; otherwise only a failing allocation throws. A lock that cannot be taken leaves
/// its error number in errno, and the operation proceeds without it; what follows in a load may overwrite the
/// number.
class NBI_EXPORT ErrorInfoMgr {
public:
    /// Null only when there is no catalogue yet and the static-object lock cannot be taken.
    static ErrorInfoMgr* Instance();
    /// All reasons are lost. Nobody may use the catalogue meanwhile.
    static void Destroy();
    ErrorInfoMgr(const ErrorInfoMgr&) = delete;
    ErrorInfoMgr& operator=(const ErrorInfoMgr&) = delete;

    /// Reads all resource files of a language below the installation root R: "errcode_ACCESS_TDT.res" first,
    /// if it is there, and then every other entry of R + "/../etc/nbires/<language>/", whatever its name or
    /// kind; last R + "/../nbi/corba/res/staticdata/<language>/errcode_TAVO_TDT.res". A later entry replaces
    /// an earlier one of the same code. Each call reads the files again.
    /// \param bEnglish true: "en_US"; false: "zh_CN", in UTF-8
    void LoadErrorInfoFrmCfg(bool bEnglish);

    /// Reads one resource file: lines "code = text", as the host reads name/value files. A code is
    /// unsigned: decimal, hexadecimal after "0x", octal after "0". What follows the digits is ignored, and
    /// a name without any means 0. The text is taken byte for byte; the library's own files are ASCII in
    /// English and UTF-8 in Chinese. On the standalone host blanks around code and text do not count, and
    /// lines that begin with ";" or "#" are comments:
    ///
    ///     ; what keeps a request from being taken on
    ///     0x4118000A = The limit of long-running tasks is reached.
    ///     1092091915 = The request was cancelled.
    /// \param path as the host's GetAllCfgFrmFile() takes it
    void ReadErrorInfoFrmCfg(const std::string& path);

    /// Looks a reason up; a miss is not logged.
    /// \param[out] reason the text of \p nCode, or "" when nothing has entered that code
    void GetErrReasonByErrCode(std::string& reason, const unsigned long& nCode);

    /// Enters the reason of \p nCode, or replaces it.
    void SetErrReasonByErrCode(const std::string& reason, const unsigned long& nCode);

private:
    ErrorInfoMgr();  // private, and the destructor too: only Instance() makes one
    ~ErrorInfoMgr();

    bool IsLoaded();

    static std::atomic<ErrorInfoMgr*> m_pInstance;
    const std::unique_ptr<ACE_RW_Mutex> m_pLoadLock;
    // Deliberate: nothing sets it. Callers load a language again to see files that have changed since.
    bool m_bLoaded = false;  // guarded by m_pLoadLock
    const std::unique_ptr<ACE_RW_Mutex> m_pCatalogueLock;
    const std::unique_ptr<ReasonTable> m_pCatalogue;  // guarded by m_pCatalogueLock
};

}  // namespace NS_UTIL
