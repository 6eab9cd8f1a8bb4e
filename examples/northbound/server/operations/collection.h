/// \file
/// One performance collection: a port's counters, sampled into a file.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "server/figures/element.h"
#include "server/operations/collectionbook.h"
#include "server/operations/partfiles.h"
#include "server/serving/stopsignal.h"

namespace northbound {

/// What a collection is to do. Samples are taken at 0, interval, 2 * interval, ... up to the duration.
struct CollectionPlan {
    std::string m_Dn;
    std::string m_Port;
    unsigned int m_nInterval = 0;       // milliseconds
    unsigned int m_nDuration = 0;       // milliseconds
    std::function<bool()> m_HasGone{};  // see Caller
    unsigned int m_nFirst = 0;  // number of the first sample that is to be taken; others have those before it
    Figures m_Before{};  // of the collection's first sample, where others have taken it; empty: unknown

    unsigned int Samples() const { return m_nDuration / m_nInterval + 1; }
};

struct CollectionOutcome {
    std::string m_Operation;  // operation UUID without tags
    std::string m_File;
    unsigned int m_nSamples = 0;
    unsigned int m_nLate = 0;  // samples that were taken when the next one was due, or later
    Figures m_Increase;
};

/// What the steady clock shows at a sample is a multiple of this, for intervals that are.
constexpr std::chrono::milliseconds SAMPLE_GRID(10);

/// What all collections share. Everything outlives the pools.
struct CollectionEnvironment {
    const Element& m_Element;
    CollectionBook& m_Book;
    StopSignal& m_Stop;
    PartFiles m_Files;
};

/// Samples the port's counters into a CSV file until the plan is fulfilled, from the plan's first sample on. Samples fall on whole multiples of
/// SAMPLE_GRID, so that collections of like intervals have theirs at the same instants and share one reading of the
/// kernel's tables. One that comes too late is taken at once, and counted. Looks for the stop at each sample, and
/// four times a second whether it is cancelled, its claim is lost or its caller has gone.
/// \param claim the caller's own; the book is told how far the collection is, and not of its end
/// \throws ProcessException CUT_SHORT at the stop and when the claim is lost, and CANCELLED: the file keeps its ".part"
///         name; FILE_NOT_WRITTEN, UNKNOWN_OBJECT when the port has gone, NO_FIGURES
CollectionOutcome TakeSamples(const CollectionEnvironment& environment, const CollectionPlan& plan,
                              const CollectionClaim& claim);

}  // namespace northbound
