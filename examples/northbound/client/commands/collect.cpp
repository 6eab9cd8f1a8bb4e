#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <list>
#include <memory>
#include <thread>
#include <vector>

#include "client/commands/commands.h"
#include "client/commands/outcomes.h"
#include "client/commands/sharedcollect.h"
#include "client/commands/waiting.h"
#include "client/corba/cluster.h"
#include "client/corba/collections.h"
#include "client/corba/pages.h"
#include "client/view/progressview.h"

namespace northbound {
namespace {

unsigned int Milliseconds(double seconds)
{
    return static_cast<unsigned int>(std::lround(seconds * 1000));
}

using Collections = std::list<Collection>;
using Orders = std::vector<Northbound::CollectionOrder>;

bool AllOver(const Collections& collections)
{
    return std::all_of(collections.begin(), collections.end(),
                       [](const Collection& c) { return c.IsOver(); });
}

/// Looks at the server until all collections are over: with \p pView for their progress, else whether it is there.
/// \throws CORBA::SystemException when the server does not answer, and their answers do not come either
void WaitUntilOver(const Session& session, const Collections& collections, ProgressView* pView)
{
    try {
        for (; !AllOver(collections); std::this_thread::sleep_for(POLL)) {
            if (pView == nullptr) {
                session.Ping();
            } else {
                const Northbound::HugeTaskList_var tasks = AllTasks(session);
                pView->Show(tasks);
            }
        }
    } catch (const CORBA::TIMEOUT&) {
        throw;
    } catch (const CORBA::SystemException&) {
        // Of a server that stops, the answers under way still come.
        if (!WaitFor(session, [&collections] { return AllOver(collections); })) throw;
    }
}

void ShowUntilOver(const Session& session, const Collections& collections, bool bShow)
{
    if (!bShow) return WaitUntilOver(session, collections, nullptr);
    ProgressView view(false);
    WaitUntilOver(session, collections, &view);
    view.Show(Northbound::HugeTaskList());
}

/// The ORB cannot call off what other threads wait for, so the process ends around them.
[[noreturn]] void EndWithCallsUnderWay(int nExitCode)
{
    std::_Exit(AfterOutput(nExitCode));
}

Outcome OutcomeOf(const Session& session, const Collection& collection)
{
    Outcome outcome;
    outcome.m_Dn = collection.Work().dn.in();
    if (collection.Result() != nullptr) {
        outcome.m_Dn = collection.Result()->dn.in();
        outcome.m_pResult = std::make_unique<Northbound::CollectionResult>(*collection.Result());
    } else if (collection.Refusal() != nullptr) {
        outcome.m_Failure = RefusedBy(session, *collection.Refusal());
    } else {
        outcome.m_Failure = NoAnswerFrom(session.Address(), *collection.NoServer());
    }
    return outcome;
}

/// At a server that is alone: it has each collection for as long as its client waits for the answer.
Outcomes CollectAlone(const Session& session, const OutputOptions& output, const Orders& orders, bool bShow)
{
    Collections collections;
    for (const auto& work : orders) {
        collections.emplace_back(session, work, static_cast<unsigned int>(session.Timeout().count()));
    }
    try {
        ShowUntilOver(session, collections, bShow);
    } catch (const CORBA::SystemException& e) {
        EndWithCallsUnderWay(ReportFailure(output, NoAnswerFrom(session.Address(), e)));
    }
    Outcomes outcomes;
    for (const Collection& collection : collections) outcomes.push_back(OutcomeOf(session, collection));
    return outcomes;
}

Orders OrdersFor(const CollectOptions& options)
{
    Orders orders;
    for (const std::string& port : options.m_Ports) {
        orders.emplace_back();
        orders.back().dn = port.c_str();
        orders.back().interval = Milliseconds(options.m_Interval);
        orders.back().duration = Milliseconds(options.m_Duration);
    }
    return orders;
}

}  // namespace

int RunCollections(const Session& session, const OutputOptions& output, const CollectOptions& options)
{
    const Orders orders = OrdersFor(options);
    const bool bShow = !output.m_bJson && !options.m_bQuiet;
    session.Settle();
    const Outcomes outcomes = JoinCluster(session) ? CollectShared(session, orders, bShow)
                                                   : CollectAlone(session, output, orders, bShow);
    return PackAndReport(session, output, options, outcomes);
}

}  // namespace northbound
