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
    const Figures figures = FigureReader(catalogue).Read(m_Element.m_Machine.PortOf(request.m_Dn));
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "counters of %s read", request.m_Dn.c_str());
    return {request.m_Dn, TimeText(), Named(catalogue, figures)};
}

}  // namespace northbound
