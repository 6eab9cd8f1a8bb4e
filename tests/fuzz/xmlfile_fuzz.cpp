// Any bytes as a description file.
#include <cstdint>

#include "fuzz/memoryfile.h"
#include "fuzz/xmlfuzzing.h"
#include "xml/silence.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const nbitest::Silence silence;
    const nbitest::MemoryFile file(pData, nSize);
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
