/// \file
/// The kinds of expat that a program may be run with. The tests in expatkinds.cpp are built once for each: the
/// program's own source says which kind it has, and puts functions of its own before expat's at link time.
#pragma once

#include <expat.h>

#include "xml/expatswitches.h"

namespace nbitest {

/// False when expat puts tokens off whatever it is told: which runs of character data it joins is its own affair.
extern const bool RUNS_ARE_EXACT;

/// For a reader beside the library's: no token of this parser is put off, whatever the kind.
void NeverPutOff(XML_Parser parser);

}  // namespace nbitest

extern "C" {
// What --wrap makes of a function's name.
XML_Parser __real_XML_ParserCreate_MM(const XML_Char* pEncoding, const XML_Memory_Handling_Suite* pMemory,
                                      const XML_Char* pSeparator);
XML_Bool __real_XML_SetReparseDeferralEnabled(XML_Parser parser, XML_Bool enabled)
    __attribute__((weak, visibility("default")));
}
