#include "client/commands/sharedcollect.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <optional>
#include <set>
#include <thread>

#include "client/commands/waiting.h"
#include "client/corba/orders.h"
#include "client/texts/texts.h"
#include "client/view/progressview.h"
#include "client/view/table.h"
#include "shared/names.h"

namespace northbound {
namespace {

volatile std::sig_atomic_t g_nSignal = 0;

/// While it lives, the first of these signals is noted. The second one ends the process.
class Interruption {
public:
    Interruption()
    {
        for (const int nSignal : SIGNALS) Take(nSignal);
    }
    ~Interruption()
    {
        for (const int nSignal : SIGNALS) std::signal(nSignal, SIG_DFL);
    }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    static bool HasCome() { return g_nSignal != 0; }
    /// Ends the process as if the signal had not been noted.
    static void End() { std::raise(g_nSignal); }

private:
    static constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

    static void Take(int nSignal)
    {
        struct sigaction action {};
        action.sa_handler = [](int nCome) { g_nSignal = nCome; };
        action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
        sigaction(nSignal, &action, nullptr);
    }
};

using Orders = std::list<SharedOrder>;

bool AllOver(const Orders& orders)
{
    return std::all_of(orders.begin(), orders.end(), [](const SharedOrder& one) { return one.IsOver(); });
}

void SendAll(Orders& orders)
{
    for (SharedOrder& order : orders) {
        if (!Interruption::HasCome()) order.Send();
    }
}

/// One of them is waited for, the others are looked at.
void LookAtAll(Orders& orders, std::chrono::milliseconds wait)
{
    for (SharedOrder& order : orders) {
        if (order.IsOver()) continue;
        order.Look(wait);
        wait = std::chrono::milliseconds(0);
    }
}

/// Those that run, as the list of tasks has them.
Northbound::HugeTaskList Running(const Session& session, const Orders& orders)
{
    Northbound::HugeTaskList tasks;
    for (const SharedOrder& order : orders) {
        if (order.IsOver()) continue;
        const CORBA::ULong n = tasks.length();
        tasks.length(n + 1);
        tasks[n].operation = order.Operation().c_str();
        const bool bTold = *order.State().dn.in() != '\0';
        tasks[n].dn = bTold ? order.State().dn.in() : order.Work().dn.in();
        tasks[n].user = session.Who().user;
        tasks[n].samplesTaken = order.State().samplesTaken;
        tasks[n].samplesPlanned = order.State().samplesPlanned;
    }
    return tasks;
}

/// Shows how far the orders are, and once why one waits that nobody can take.
class Progress {
public:
    explicit Progress(const Session& session) : m_Session(session) {}

    void Show(const Orders& orders)
    {
        for (const SharedOrder& order : orders) Tell(order);
        m_View.Show(Running(m_Session, orders));
    }

private:
    void Tell(const SharedOrder& order)
    {
        const std::string note = order.State().note.in();
        if (note.empty() || order.IsOver() || !m_Told.insert(order.Operation()).second) return;
        m_View.Show(Northbound::HugeTaskList());
        std::cerr << "nbi-client: "
                  << Say("{1} waits: {2}", {Printable(order.Work().dn.in()), Printable(note)}) << '\n';
    }

    const Session& m_Session;
    ProgressView m_View{false};
    std::set<std::string> m_Told;
};

/// A round takes as long as POLL, so that a server that does not wait is not asked all the time.
void LookUntilOver(const Session& session, Orders& orders, Progress* pProgress)
{
    while (!AllOver(orders) && !Interruption::HasCome()) {
        const auto next = std::chrono::steady_clock::now() + POLL;
        LookAtAll(orders, LongestWait(session));
        if (pProgress != nullptr) pProgress->Show(orders);
        if (!AllOver(orders)) std::this_thread::sleep_until(next);
    }
}

/// What was accepted is carried out, whether its client hears of it or not.
Failure Unanswered(const Failure& failure, const SharedOrder& order)
{
    Failure own = failure;
    own.m_Detail = Say("{1}; what is ordered goes on as {2}", {failure.m_Detail, order.Operation()});
    return own;
}

/// Where the book was away, nobody knows whether it has taken the order.
Failure Refused(const Session& session, const SharedOrder& order)
{
    Failure failure = RefusedBy(session, *order.Refusal());
    if (order.Refusal()->code != ErrCode::BOOK_AWAY) return failure;
    failure.m_Detail = Say("{1}; it may be accepted as {2}", {failure.m_Detail, order.Operation()});
    return failure;
}

/// \param noAnswer why nothing is known of those that are not over
Outcome OutcomeOf(const Session& session, const SharedOrder& order, const std::optional<Failure>& noAnswer)
{
    Outcome outcome;
    const bool bTold = *order.State().dn.in() != '\0';
    outcome.m_Dn = bTold ? order.State().dn.in() : order.Work().dn.in();
    outcome.m_Parts = order.State().parts;
    if (!order.IsOver()) {
        outcome.m_Failure = Unanswered(*noAnswer, order);
    } else if (order.Refusal() != nullptr) {
        outcome.m_Failure = Refused(session, order);
    } else {
        outcome.m_pResult = std::make_unique<Northbound::CollectionResult>(order.State().result);
    }
    return outcome;
}

void CancelAll(Orders& orders)
{
    for (SharedOrder& order : orders) order.Cancel();
    Interruption::End();
}

}  // namespace

Outcomes CollectShared(const Session& session, const std::vector<Northbound::CollectionOrder>& orders,
                       bool bShow)
{
    const Interruption interruption;
    std::optional<Progress> progress;
    if (bShow) progress.emplace(session);
    Orders sent;
    for (const Northbound::CollectionOrder& order : orders) sent.emplace_back(session, order);
    std::optional<Failure> noAnswer;
    try {
        SendAll(sent);
        LookUntilOver(session, sent, progress ? &*progress : nullptr);
        if (Interruption::HasCome()) CancelAll(sent);
    } catch (const CORBA::SystemException&) {
        noAnswer = CurrentFailure(session);
    } catch (const NoAnswer&) {
        noAnswer = CurrentFailure(session);
    }
    Outcomes outcomes;
    for (const SharedOrder& order : sent) outcomes.push_back(OutcomeOf(session, order, noAnswer));
    return outcomes;
}

}  // namespace northbound
