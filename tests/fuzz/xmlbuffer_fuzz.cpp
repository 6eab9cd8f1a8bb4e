// Any bytes as a description text in memory.
#include <cstdint>

#include "fuzz/xmlfuzzing.h"
#include "xml/silence.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const nbitest::Silence silence;
    NS_UTIL::SDXMLInterpreterMgr& mgr = *NS_UTIL::SDXMLInterpreterMgr::Instance();
    mgr.setFileName("doc.xml");
    auto* const pInterpreter = new nbifuzz::CheckingInterpreter;
    mgr.RegisterInterpreter("doc.xml", pInterpreter);
    mgr.RegisterInterpreter("doc.xml/x", pInterpreter);
    const bool bParsed = mgr.ParseXMLBuffer(pData, nSize);
    if (nSize == 0) nbifuzz::Require(!bParsed);
    // A zero ends the text for a reader of zero-terminated texts, and ends it badly for the other.
    const std::string text = nbifuzz::TextOf(pData, nSize);
    const bool bParsedAsText = mgr.ParseXMLBuffer(text.c_str(), 0xFFFFFFFFUL);
    if (text.size() == nSize) nbifuzz::Require(bParsedAsText == bParsed);
    NS_UTIL::SDXMLInterpreterMgr::Destroy();
    return 0;
}
