// An expat that has the switch, answers false, and goes on as before.
#include "xml/expatkind.h"

const bool nbitest::RUNS_ARE_EXACT = false;

void nbitest::NeverPutOff(XML_Parser parser)
{
    if (&__real_XML_SetReparseDeferralEnabled != nullptr) {
        __real_XML_SetReparseDeferralEnabled(parser, XML_FALSE);
    }
}

extern "C" XML_Bool __wrap_XML_SetReparseDeferralEnabled(XML_Parser /*parser*/, XML_Bool /*enabled*/)
{
    return XML_FALSE;
}
