/// \file
/// The managed network element as the operations see it.
#pragma once

#include "server/figures/catalogue.h"
#include "server/figures/machine.h"

namespace northbound {

/// The network element, and which of its figures are shown. Threads: any.
struct Element {
    Machine m_Machine;
    Catalogue m_Catalogue;
};

}  // namespace northbound
