/// \file
/// Switches that some releases of expat have and others have not, also within one distribution's updates. They
/// are looked up when the library is loaded; the address of one that expat has not is null. The expat that the
/// library was built with says nothing, since updates exchange it.
#pragma once

#include <expat.h>

// Visible, so that the linker leaves them to the loader.
#define NBI_MAY_BE_MISSING __attribute__((weak, visibility("default")))

extern "C" {
/// \return false when expat goes on putting off what was incomplete once
XML_Bool XMLCALL XML_SetReparseDeferralEnabled(XML_Parser parser, XML_Bool enabled) NBI_MAY_BE_MISSING;

/// How much entities may yield before their growth is limited. expat.h hides it where it was built without.
XML_Bool XMLCALL XML_SetBillionLaughsAttackProtectionActivationThreshold(
    XML_Parser parser, unsigned long long activationThresholdBytes) NBI_MAY_BE_MISSING;
}

#undef NBI_MAY_BE_MISSING
