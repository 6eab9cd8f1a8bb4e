#include "requests.h"

#include <chrono>
#include <utility>

#include "failure.h"
#include "names.h"
#include "nbihost/standalone.h"
#include "nbiutil/threadcontextinfo.h"
#include "perffile.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "requests";

}  // namespace

InventoryTask::InventoryTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const Element& element,
                             std::shared_ptr<PortList> pAnswer)
    : RequestTask(agent, descriptor), m_Element(element), m_pAnswer(std::move(pAnswer))
{
}

void InventoryTask::Work()
{
    std::vector<std::string> names;
    for (PortFacts& facts : m_Element.m_Machine.Inventory()) {
        names.push_back(facts.m_Name);
        m_pAnswer->push_back({std::move(facts), {}});
    }
    std::vector<Figures> figures = FigureReader(m_Element.m_Catalogue).Read(names);
    for (std::size_t i = 0; i < figures.size(); ++i) (*m_pAnswer)[i].m_Figures = std::move(figures[i]);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%zu ports read", m_pAnswer->size());
}

CountersTask::CountersTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const Element& element,
                           std::string dn, std::shared_ptr<Reading> pAnswer)
    : RequestTask(agent, descriptor), m_Element(element), m_Dn(std::move(dn)), m_pAnswer(std::move(pAnswer))
{
}

void CountersTask::Work()
{
    m_pAnswer->m_Figures = FigureReader(m_Element.m_Catalogue).Read(m_Element.m_Machine.PortOf(m_Dn));
    m_pAnswer->m_Time = TimeText();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "counters of %s read", m_Dn.c_str());
}

CollectionTask::CollectionTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const CollectionPlace& place,
                               CollectionPlan plan, std::shared_ptr<CollectionOutcome> pAnswer)
    : RequestTask(agent, descriptor),
      m_Place(place),
      m_Plan(std::move(plan)),
      m_pAnswer(std::move(pAnswer)),
      m_Operation(GetThreadInfo().GetOperUUID())
{
    CollectionProgress progress;
    progress.m_Dn = m_Plan.m_Dn;
    progress.m_User = GetThreadInfo().GetUserInfo();
    progress.m_nPlanned = m_Plan.Samples();
    m_Place.m_Board.Enter(m_Operation, progress);
}

CollectionTask::~CollectionTask()
{
    m_Place.m_Board.Leave(m_Operation);
}

void CollectionTask::Work()
{
    using Clock = std::chrono::steady_clock;
    PerfFile file(m_Place.m_Directory, m_Plan.m_Port, BareUuid(m_Operation), m_Place.m_Element.m_Catalogue);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection of %s begins: %u samples, one in %u ms",
                 m_Plan.m_Dn.c_str(), m_Plan.Samples(), m_Plan.m_nInterval);
    const Clock::time_point start = Clock::now();
    FigureReader reader(m_Place.m_Element.m_Catalogue);
    Figures first;
    Figures last;
    for (unsigned int i = 0; i < m_Plan.Samples(); ++i) {
        const std::chrono::milliseconds offset(static_cast<std::chrono::milliseconds::rep>(i) *
                                               m_Plan.m_nInterval);
        if (m_Place.m_Stop.WaitUntil(start + offset)) FailCutShort(i, file.Path());
        m_Place.m_Element.m_Machine.Require(m_Plan.m_Port);
        last = reader.Read(m_Plan.m_Port);
        if (i == 0) first = last;
        file.Add(TimeText(), last);
        m_Place.m_Board.Step(m_Operation);
    }
    m_pAnswer->m_File = file.Finish();
    m_pAnswer->m_nSamples = m_Plan.Samples();
    m_pAnswer->m_Increase = Increase(m_Place.m_Element.m_Catalogue, first, last);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "collection of %s complete: %s", m_Plan.m_Dn.c_str(),
                 m_pAnswer->m_File.c_str());
}

void CollectionTask::FailCutShort(unsigned int nTaken, const std::string& file) const
{
    Fail(ErrCode::CUT_SHORT, MODULE,
         "the server stopped after " + std::to_string(nTaken) + " of " + std::to_string(m_Plan.Samples()) +
             " samples; they are in " + file);
}

std::string BareUuid(const std::string& operation)
{
    const std::string open = "<OpUUID>";
    const std::string close = "</OpUUID>";
    if (operation.size() < open.size() + close.size() || operation.compare(0, open.size(), open) != 0) {
        return operation;
    }
    return operation.substr(open.size(), operation.size() - open.size() - close.size());
}

}  // namespace northbound
