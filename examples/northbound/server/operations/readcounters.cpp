#include "server/operations/readcounters.h"

#include "nbihost/standalone.h"
#include "server/figures/figurereader.h"
#include "server/serving/timetext.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "readcounters";

}  // namespace

ReadCounters::Result ReadCounters::Run(const Request& request, const Caller& /*caller*/) const
{
    const Catalogue& catalogue = m_Element.m_Catalogue;
    const Machine& machine = m_Element.m_Machine;
    const std::string port = machine.PortOf(request.m_Dn);
    const std::string dn = machine.DistinguishedName(port);
    const Figures figures = FigureReader(catalogue, machine.Tables()).Read(port);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "counters of %s read", dn.c_str());
    return {dn, TimeText(), Named(catalogue, figures)};
}

}  // namespace northbound
