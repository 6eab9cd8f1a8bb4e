#include "server/operations/service.h"

namespace northbound {

Service::Service(const Settings& settings, Catalogue catalogue, ConfigEditor& editor, StopSignal& stop,
                 std::function<void()> requestStop)
    : m_Element{Machine(), std::move(catalogue)},
      m_Dispatcher(m_Sessions, settings.m_nHugeTaskLimit),
      m_Book(m_Dispatcher.Agent(), {m_Element, m_Board, stop, settings.m_CollectionDirectory},
             settings.m_nPerPortLimit),
      m_Packer(settings.m_CollectionDirectory),
      m_Operations(Inventory(m_Element), Columns(m_Element.m_Catalogue), ReadCounters(m_Element),
                   Collect(m_Element, m_Book), HugeTasks(m_Book), Stop(std::move(requestStop)), PublicKey(),
                   SendSecret(), Login(m_Sessions), Sessions(m_Sessions), Pack(m_Packer), SetItem(editor))
{
}

}  // namespace northbound
