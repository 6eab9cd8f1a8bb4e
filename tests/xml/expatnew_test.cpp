// The expat of this machine.
#include "xml/expatkind.h"

const bool nbitest::RUNS_ARE_EXACT = true;

void nbitest::NeverPutOff(XML_Parser parser)
{
    if (&XML_SetReparseDeferralEnabled != nullptr) XML_SetReparseDeferralEnabled(parser, XML_FALSE);
}
