#include "server/operations/inventory.h"

#include <algorithm>
#include <utility>

#include "nbihost/standalone.h"
#include "server/figures/figurereader.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "inventory";

bool FitsIn(PageRoom& room, const Inventory::Port& port)
{
    const PortFacts& facts = port.m_Facts;
    std::size_t nBytes =
        port.m_Dn.size() + facts.m_Name.size() + facts.m_State.size() + facts.m_HardwareAddress.size();
    for (const std::string& address : facts.m_Addresses) nBytes += address.size();
    for (const NamedFigure& figure : port.m_Figures) nBytes += figure.m_Name.size() + figure.m_Unit.size();
    return room.Takes(nBytes, 8 + facts.m_Addresses.size() + 4 * port.m_Figures.size());
}

}  // namespace

Inventory::Result Inventory::Run(const Request& request, const Caller& /*caller*/) const
{
    const Machine& machine = m_Element.m_Machine;
    const Machine::Clock::time_point instant = Machine::Clock::now();
    const std::size_t nMost =
        request.m_nLimit == 0 ? MAX_PORTS : std::min<std::size_t>(request.m_nLimit, MAX_PORTS);
    const std::vector<std::string> names = machine.Ports(request.m_After, nMost + 1, instant);
    const Links links = Machine::ReadLinks();
    FigureReader reader(m_Element.m_Catalogue, machine.Tables());
    PageRoom room;
    Result page;
    for (const std::string& name : names) {
        Port port{machine.DistinguishedName(name), machine.Facts(name, links),
                  Named(m_Element.m_Catalogue, reader.Read(name, instant))};
        if (page.m_Items.size() == nMost || !FitsIn(room, port)) {
            page.m_Next = page.m_Items.back().m_Facts.m_Name;
            break;
        }
        page.m_Items.push_back(std::move(port));
    }
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "%zu ports read", page.m_Items.size());
    return page;
}

}  // namespace northbound
