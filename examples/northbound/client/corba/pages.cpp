#include "client/corba/pages.h"

#include <list>
#include <string>

namespace northbound {
namespace {

template <class List, class Page>
List* Joined(List Page::*part, const std::list<typename Page::_var_type>& pages, CORBA::ULong nItems)
{
    typename List::_var_type all = new List(nItems);
    all->length(nItems);
    CORBA::ULong nNext = 0;
    for (const auto& page : pages) {
        const List& items = page.in().*part;
        for (CORBA::ULong i = 0; i < items.length(); ++i) all[nNext++] = items[i];
    }
    return all._retn();
}

/// Begins anew with the next server when one does not answer: no list is of two.
/// \param ask the page behind the text that it is called with
template <class List, class Page, class Ask>
List* Gather(const Session& session, List Page::*part, Ask ask)
{
    return session.Read([&](Northbound::Manager_ptr server, const Northbound::Caller& who) {
        std::list<typename Page::_var_type> pages;
        CORBA::ULong nItems = 0;
        for (std::string after; pages.empty() || !after.empty(); after = pages.back()->next.in()) {
            pages.emplace_back(ask(server, who, after.c_str()));
            nItems += (pages.back().in().*part).length();
        }
        return Joined<List, Page>(part, pages, nItems);
    });
}

}  // namespace

Northbound::PortList* AllPorts(const Session& session)
{
    return Gather(session, &Northbound::PortPage::ports,
                  [](Northbound::Manager_ptr server, const Northbound::Caller& who, const char* pAfter) {
                      return server->Inventory(who, pAfter, 0);
                  });
}

Northbound::HugeTaskList* AllTasks(const Session& session)
{
    return Gather(session, &Northbound::HugeTaskPage::tasks,
                  [](Northbound::Manager_ptr server, const Northbound::Caller& who, const char* pAfter) {
                      return server->HugeTasks(who, pAfter);
                  });
}

Northbound::StoredFileList* AllFiles(const Session& session)
{
    return Gather(session, &Northbound::StoredFilePage::files,
                  [](Northbound::Manager_ptr server, const Northbound::Caller& who, const char* pAfter) {
                      return server->Files(who, pAfter);
                  });
}

Northbound::UserSessionList* AllSessions(const Session& session)
{
    return Gather(session, &Northbound::UserSessionPage::sessions,
                  [](Northbound::Manager_ptr server, const Northbound::Caller& who, const char* pAfter) {
                      return server->Sessions(who, pAfter);
                  });
}

Northbound::ServerList* AllServers(const Session& session)
try {
    return Gather(session, &Northbound::ServerPage::servers,
                  [](Northbound::Manager_ptr server, const Northbound::Caller& who, const char* pAfter) {
                      return server->Servers(who, pAfter);
                  });
} catch (const CORBA::BAD_OPERATION&) {
    return new Northbound::ServerList;
}

Northbound::OpenOrderList* AllOrders(const Session& session)
try {
    return Gather(session, &Northbound::OpenOrderPage::orders,
                  [](Northbound::Manager_ptr server, const Northbound::Caller& who, const char* pAfter) {
                      return server->Orders(who, pAfter);
                  });
} catch (const CORBA::BAD_OPERATION&) {
    return new Northbound::OpenOrderList;
}

Northbound::PoolReport* Pools(const Session& session)
{
    return session.Read(
        [](Northbound::Manager_ptr server, const Northbound::Caller& who) { return server->Pools(who); });
}

}  // namespace northbound
