#include "server/operations/collection.h"

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

[[noreturn]] void ThrowCutShort(unsigned int nTaken, const CollectionPlan& plan, const std::string& file)
{
    ThrowFailure(ErrCode::CUT_SHORT, MODULE,
                 "the server stopped after " + std::to_string(nTaken) + " of " +
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
    const Clock::time_point start = Clock::now();
    FigureReader reader(catalogue);
    Figures first;
    Figures last;
    for (unsigned int i = 0; i < plan.Samples(); ++i) {
        if (environment.m_Stop.WaitUntil(start + OffsetOf(plan, i))) ThrowCutShort(i, plan, file.Path());
        environment.m_Element.m_Machine.Require(plan.m_Port);
        last = reader.Read(plan.m_Port);
        if (i == 0) first = last;
        file.Add(TimeText(), last);
        environment.m_Board.Step(operation);
    }
    const std::string path = file.Finish();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection of %s complete: %s", plan.m_Dn.c_str(),
                 path.c_str());
    return {operation, path, plan.Samples(), Increase(catalogue, first, last)};
}

}  // namespace northbound
