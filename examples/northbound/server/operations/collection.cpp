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
enum class Wake { SAMPLE, STOP, CANCEL, CALLER_GONE };

Wake WaitForSample(const CollectionEnvironment& environment, const CollectionPlan& plan,
                   const std::string& operation, Clock::time_point when)
{
    for (;;) {
        if (environment.m_Board.Find(operation).m_bCancelled) return Wake::CANCEL;
        if (plan.m_HasGone && plan.m_HasGone()) return Wake::CALLER_GONE;
        const Clock::time_point next = std::min(when, Clock::now() + LOOK);
        if (environment.m_Stop.WaitUntil(next)) return Wake::STOP;
        if (next == when) return Wake::SAMPLE;
    }
}

[[noreturn]] void ThrowEnded(Wake wake, unsigned int nTaken, const CollectionPlan& plan,
                             const std::string& file)
{
    const char* const pWhy = wake == Wake::STOP     ? "the server stopped"
                             : wake == Wake::CANCEL ? "the collection was cancelled"
                                                    : "the caller has gone";
    ThrowFailure(wake == Wake::STOP ? ErrCode::CUT_SHORT : ErrCode::CANCELLED, MODULE,
                 std::string(pWhy) + " after " + std::to_string(nTaken) + " of " +
                     std::to_string(plan.Samples()) + " samples; they are in " + file);
}

}  // namespace

CollectionOutcome TakeSamples(const CollectionEnvironment& environment, const CollectionPlan& plan,
                              const std::string& operation)
{
    const Catalogue& catalogue = environment.m_Element.m_Catalogue;
    PerfFile file(environment.m_Directory, plan.m_Port, operation, catalogue);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection of %s begins: %u samples, one in %u ms",
                 plan.m_Dn.c_str(), plan.Samples(), plan.m_nInterval);
    const Machine& machine = environment.m_Element.m_Machine;
    const Clock::time_point start = NextOnGrid(Clock::now());
    FigureReader reader(catalogue, machine.Tables());
    Figures first;
    Figures last;
    unsigned int nLate = 0;
    for (unsigned int i = 0; i < plan.Samples(); ++i) {
        const Clock::time_point when = start + OffsetOf(plan, i);
        const Wake wake = WaitForSample(environment, plan, operation, when);
        if (wake != Wake::SAMPLE) ThrowEnded(wake, i, plan, file.Path());
        machine.Require(plan.m_Port, when);
        last = reader.Read(plan.m_Port, when);
        if (i == 0) first = last;
        if (Clock::now() >= when + std::chrono::milliseconds(plan.m_nInterval)) ++nLate;
        file.Add(TimeText(), last);
        environment.m_Board.Step(operation);
    }
    const std::string path = file.Finish();
    nbihost::Log(nLate == 0 ? nbihost::LOG_LEVEL_INFO : nbihost::LOG_LEVEL_WARNING, MODULE,
                 "collection of %s complete, %u of %u samples late: %s", plan.m_Dn.c_str(), nLate,
                 plan.Samples(), path.c_str());
    return {operation, path, plan.Samples(), nLate, Increase(catalogue, first, last)};
}

}  // namespace northbound
