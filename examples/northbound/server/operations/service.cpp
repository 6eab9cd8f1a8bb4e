#include "server/operations/service.h"

#include "nbiutil/nbitaskmgr.h"

namespace northbound {
namespace {

/// The element under \p settings' root: each file that the catalogue names is looked up there.
Element ElementOf(const Settings& settings, Catalogue catalogue)
{
    const std::string root = settings.m_ElementRoot == "/" ? "" : settings.m_ElementRoot;
    for (Column& column : catalogue.m_Columns) column.m_File.insert(0, root);
    return {Machine(root + "/proc/net/dev", root + "/sys/class/net"), std::move(catalogue)};
}

}  // namespace

Service::Service(const Settings& settings, Catalogue catalogue, ConfigEditor& editor, StopSignal& stop,
                 std::function<void()> requestStop, std::function<unsigned long()> linesLost)
    : m_Element(ElementOf(settings, std::move(catalogue))),
      m_Sessions(settings.m_Anonymous),
      m_Dispatcher(m_Sessions, settings.m_nHugeTaskLimit),
      m_Book(m_Dispatcher.Agent(), {m_Element, m_Board, stop, settings.m_CollectionDirectory}),
      m_Packer(settings.m_CollectionDirectory),
      m_Operations(Inventory(m_Element), Columns(m_Element.m_Catalogue), ReadCounters(m_Element),
                   Collect(m_Element, m_Book), Cancel(m_Book), HugeTasks(m_Book),
                   Stop(std::move(requestStop)), PublicKey(), SendSecret(), Challenge(m_LoginGate),
                   Login(m_Sessions, m_LoginGate), Logout(m_Sessions), Sessions(m_Sessions), Pack(m_Packer),
                   SetItem(editor), Pools(std::move(linesLost)))
{
    Apply(settings);
}

void Service::Apply(const Settings& settings)
{
    NS_UTIL::TaskPoolMgr::Init(settings.m_nHugeTaskLimit);
    m_Board.SetLimits({settings.m_nHugeTaskLimit, settings.m_nPerPortLimit});
    m_Sessions.SetLimits(settings.m_Sessions);
}

}  // namespace northbound
