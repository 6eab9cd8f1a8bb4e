#include "server/operations/inventory.h"

#include <utility>

#include "nbihost/standalone.h"
#include "server/figures/figurereader.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "inventory";

std::vector<std::string> NamesOf(const std::vector<PortFacts>& ports)
{
    std::vector<std::string> names;
    names.reserve(ports.size());
    for (const PortFacts& port : ports) names.push_back(port.m_Name);
    return names;
}

}  // namespace

Inventory::Result Inventory::Run(const Request& /*request*/, const Caller& /*caller*/) const
{
    std::vector<PortFacts> facts = m_Element.m_Machine.Inventory();
    const std::vector<Figures> figures = FigureReader(m_Element.m_Catalogue).Read(NamesOf(facts));
    Result result;
    for (std::size_t i = 0; i < facts.size(); ++i) {
        std::string dn = m_Element.m_Machine.DistinguishedName(facts[i].m_Name);
        result.m_Ports.push_back(
            {std::move(dn), std::move(facts[i]), Named(m_Element.m_Catalogue, figures[i])});
    }
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%zu ports read", result.m_Ports.size());
    return result;
}

}  // namespace northbound
