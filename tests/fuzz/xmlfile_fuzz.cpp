// Any bytes as a description file.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "fuzz/xmlfuzzing.h"
#include "xml/silence.h"

namespace {

/// A file in memory, under a name of its own.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* pData, std::size_t nSize) : m_nFile(memfd_create("fuzz", MFD_CLOEXEC))
    {
        nbifuzz::Require(m_nFile >= 0);
        nbifuzz::Require(write(m_nFile, pData, nSize) == static_cast<ssize_t>(nSize));
    }
    ~MemoryFile() { close(m_nFile); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Name() const { return std::to_string(m_nFile); }
    std::string Path() const { return "/proc/self/fd/" + Name(); }

private:
    const int m_nFile;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const nbitest::Silence silence;
    const MemoryFile file(pData, nSize);
    NS_UTIL::SDXMLInterpreterMgr& mgr = *NS_UTIL::SDXMLInterpreterMgr::Instance();
    auto* const pInterpreter = new nbifuzz::CheckingInterpreter;
    mgr.RegisterInterpreter(file.Name(), pInterpreter);
    mgr.RegisterInterpreter(file.Name() + "/x", pInterpreter);
    const int nResult = mgr.ParseXMLFile(file.Path().c_str());
    nbifuzz::Require(nResult == 0 || nResult == -1);
    if (nSize == 0) nbifuzz::Require(nResult == -1);
    NS_UTIL::SDXMLInterpreterMgr::Destroy();
    return 0;
}
