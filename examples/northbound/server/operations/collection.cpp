#include "server/operations/collection.h"

#include <algorithm>
#include <chrono>

#include "nbihost/standalone.h"
#include "server/figures/figurereader.h"
#include "server/operations/perffile.h"
#include "server/serving/failure.h"
#include "server/serving/timetext.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "collection";

using Clock = std::chrono::steady_clock;

std::chrono::milliseconds OffsetOf(const CollectionPlan& plan, unsigned int nSample)
{
    using Milliseconds = std::chrono::milliseconds;
    return Milliseconds(static_cast<Milliseconds::rep>(nSample) * plan.m_nInterval);
}

/// The next instant of the grid.
Clock::time_point NextOnGrid(Clock::time_point now)
{
    const Clock::duration sinceLast = now.time_since_epoch() % SAMPLE_GRID;
    return now + (SAMPLE_GRID - sinceLast);
}

/// How long a collection that nobody wants may go on.
constexpr std::chrono::milliseconds LOOK(250);

/// What ends the wait for a sample.
enum class Wake { SAMPLE, STOP, CANCEL, CALLER_GONE, CLAIM_LOST };

Wake WaitForSample(const CollectionEnvironment& environment, const CollectionPlan& plan,
                   const CollectionClaim& claim, Clock::time_point when)
{
    for (;;) {
        const Standing standing = environment.m_Book.StandingOf(claim);
        if (standing == Standing::LOST) return Wake::CLAIM_LOST;
        if (standing == Standing::CANCELLED) return Wake::CANCEL;
        if (plan.m_HasGone && plan.m_HasGone()) return Wake::CALLER_GONE;
        const Clock::time_point next = std::min(when, Clock::now() + LOOK);
        if (environment.m_Stop.WaitUntil(next)) return Wake::STOP;
        if (next == when) return Wake::SAMPLE;
    }
}

const char* Reason(Wake wake)
{
    switch (wake) {
        case Wake::STOP:
            return "the server stopped";
        case Wake::CANCEL:
            return "the collection was cancelled";
        case Wake::CLAIM_LOST:
            return "the server holds the collection no longer";
        default:
            return "the caller has gone";
    }
}

[[noreturn]] void ThrowEnded(Wake wake, unsigned int nTaken, const CollectionPlan& plan,
                             const std::string& file)
{
    const bool bCutShort = wake == Wake::STOP || wake == Wake::CLAIM_LOST;
    ThrowFailure(bCutShort ? ErrCode::CUT_SHORT : ErrCode::CANCELLED, MODULE,
                 std::string(Reason(wake)) + " after " + std::to_string(nTaken) + " of " +
                     std::to_string(plan.Samples()) + " samples; they are in " + file);
}

}  // namespace

CollectionOutcome TakeSamples(const CollectionEnvironment& environment, const CollectionPlan& plan,
                              const CollectionClaim& claim)
{
    const Catalogue& catalogue = environment.m_Element.m_Catalogue;
    PerfFile file(environment.m_Files.OwnFolder(), plan.m_Port, environment.m_Files.NameOf(claim), catalogue);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection of %s %s: %u samples, one in %u ms",
                 plan.m_Dn.c_str(), plan.m_nFirst == 0 ? "begins" : "goes on", plan.Samples() - plan.m_nFirst,
                 plan.m_nInterval);
    const Machine& machine = environment.m_Element.m_Machine;
    const Clock::time_point start = NextOnGrid(Clock::now());
    FigureReader reader(catalogue, machine.Tables());
    Figures first = plan.m_Before;
    first.resize(catalogue.m_Columns.size());
    Figures last(catalogue.m_Columns.size());
    unsigned int nLate = 0;
    for (unsigned int i = plan.m_nFirst; i < plan.Samples(); ++i) {
        const Clock::time_point when = start + OffsetOf(plan, i - plan.m_nFirst);
        const Wake wake = WaitForSample(environment, plan, claim, when);
        if (wake != Wake::SAMPLE) ThrowEnded(wake, i, plan, file.Path());
        machine.Require(plan.m_Port, when);
        last = reader.Read(plan.m_Port, when);
        // This process may have stood still since it looked.
        if (environment.m_Book.StandingOf(claim) == Standing::LOST) {
            ThrowEnded(Wake::CLAIM_LOST, i, plan, file.Path());
        }
        if (i == 0) first = last;
        if (Clock::now() >= when + std::chrono::milliseconds(plan.m_nInterval)) ++nLate;
        file.Add(TimeText(), last);
        environment.m_Book.Report(claim, i + 1);
    }
    const std::string path = file.Finish();
    nbihost::Log(nLate == 0 ? nbihost::LOG_LEVEL_INFO : nbihost::LOG_LEVEL_WARNING, MODULE,
                 "collection of %s complete, %u of %u samples late: %s", plan.m_Dn.c_str(), nLate,
                 plan.Samples(), path.c_str());
    return {claim.m_Operation, path, plan.Samples(), nLate, Increase(catalogue, first, last)};
}

}  // namespace northbound
