// An expat that knows nothing of putting tokens off: the switch is not there (nothing defines the name that --wrap
// gives it), and each parser has it off.
#include "xml/expatkind.h"

const bool nbitest::RUNS_ARE_EXACT = true;

void nbitest::NeverPutOff(XML_Parser parser)
{
    if (&__real_XML_SetReparseDeferralEnabled != nullptr) {
        __real_XML_SetReparseDeferralEnabled(parser, XML_FALSE);
    }
}

extern "C" XML_Parser __wrap_XML_ParserCreate_MM(const XML_Char* pEncoding,
                                                 const XML_Memory_Handling_Suite* pMemory,
                                                 const XML_Char* pSeparator)
{
    XML_ParserStruct* const pParser = __real_XML_ParserCreate_MM(pEncoding, pMemory, pSeparator);
    if (pParser != nullptr) nbitest::NeverPutOff(pParser);
    return pParser;
}
