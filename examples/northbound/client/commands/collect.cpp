#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <list>
#include <optional>
#include <thread>

#include "client/commands/commands.h"
#include "client/commands/waiting.h"
#include "client/corba/collections.h"
#include "client/corba/pages.h"
#include "client/texts/texts.h"
#include "client/view/format.h"
#include "client/view/json.h"
#include "client/view/progressview.h"
#include "client/view/screen.h"
#include "client/view/table.h"

namespace northbound {
namespace {

unsigned int Milliseconds(double seconds)
{
    return static_cast<unsigned int>(std::lround(seconds * 1000));
}

using Collections = std::list<Collection>;

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

/// What the server calls the port; a refusal does not tell.
std::string NameOf(const Collection& collection)
{
    return collection.Result() == nullptr ? collection.Work().dn.in() : collection.Result()->dn.in();
}

/// How many samples, and whether they are where they should be.
std::string SamplesText(const Northbound::CollectionResult& result)
{
    const std::string samples = std::to_string(result.samples);
    if (result.late == 0) return Say("{1} samples", {samples});
    return Say("{1} samples, {2} of them late by an interval or more",
               {samples, std::to_string(result.late)});
}

Failure FailureOf(const Session& session, const Collection& collection)
{
    return collection.Refusal() != nullptr ? RefusedBy(session, *collection.Refusal())
                                           : NoAnswerFrom(session.Address(), *collection.NoServer());
}

std::string OutcomeJson(const Session& session, const Collection& collection)
{
    JsonObject outcome;
    outcome.Text("dn", NameOf(collection));
    if (collection.Result() != nullptr) {
        outcome.Raw("result", ToJson(*collection.Result()));
    } else {
        outcome.Raw("error", ErrorJson(FailureOf(session, collection)));
    }
    return outcome.Done();
}

void PrintOutcome(const Session& session, const Collection& collection)
{
    const std::string dn = Printable(NameOf(collection));
    if (const Northbound::CollectionResult* const pResult = collection.Result()) {
        std::cout << Say("{1}: {2}; {3}", {dn, SamplesText(*pResult), ToText(pResult->increase)}) << "\n  "
                  << Say("file      {1}", {Printable(pResult->file.in())}) << "\n  "
                  << Say("operation {1}", {Printable(pResult->operation.in())}) << '\n';
    } else {
        std::cerr << Red("nbi-client:", ErrorScreen()) << ' ' << dn << ": "
                  << ToText(FailureOf(session, collection)) << '\n';
    }
}

int ExitCodeOf(const Collections& collections)
{
    int nExitCode = EXIT_DONE;
    for (const Collection& collection : collections) {
        if (collection.NoServer() != nullptr) return EXIT_NO_SERVER;
        if (collection.Refusal() != nullptr) nExitCode = EXIT_REFUSED;
    }
    return nExitCode;
}

bool HasResult(const Collections& collections)
{
    return std::any_of(collections.begin(), collections.end(),
                       [](const Collection& c) { return c.Result() != nullptr; });
}

/// What became of the packing: one of the two.
struct Packing {
    Northbound::PackResult_var m_pResult;
    std::optional<Failure> m_Failure;
};

Packing Pack(const Session& session, const CollectOptions& options)
{
    Northbound::PackOrder work;
    work.method = options.m_PackMethod.c_str();
    work.perArchive =
        options.m_nPerArchive > 0 ? options.m_nPerArchive : static_cast<CORBA::ULong>(options.m_Ports.size());
    Packing packing;
    try {
        packing.m_pResult = session.Server()->Pack(session.Who(), work);
    } catch (const CORBA::Exception&) {
        packing.m_Failure = CurrentFailure(session);
    }
    return packing;
}

/// "null" where nothing was to be packed.
std::string PackingJson(const std::optional<Packing>& packing)
{
    if (!packing) return "null";
    return packing->m_Failure ? ToJson(*packing->m_Failure) : ToJson(packing->m_pResult.in());
}

void PrintOutcomes(const Session& session, const Collections& collections,
                   const std::optional<Packing>& packing)
{
    for (const Collection& collection : collections) PrintOutcome(session, collection);
    if (!packing) return;
    if (packing->m_Failure) {
        ReportFailure({}, *packing->m_Failure);
    } else {
        Print(packing->m_pResult.in());
    }
}

void PrintOutcomesAsJson(const Session& session, const Collections& collections,
                         const std::optional<Packing>& packing)
{
    std::vector<std::string> items;
    for (const Collection& collection : collections) items.push_back(OutcomeJson(session, collection));
    std::cout << JsonObject().Raw("collections", JsonArray(items)).Raw("packed", PackingJson(packing)).Done()
              << '\n';
}

int ExitCodeOf(const std::optional<Packing>& packing)
{
    return packing && packing->m_Failure ? packing->m_Failure->m_nExitCode : EXIT_DONE;
}

}  // namespace

int RunCollections(const Session& session, const OutputOptions& output, const CollectOptions& options)
{
    std::vector<Northbound::CollectionOrder> orders;
    for (const std::string& port : options.m_Ports) {
        orders.emplace_back();
        orders.back().dn = port.c_str();
        orders.back().interval = Milliseconds(options.m_Interval);
        orders.back().duration = Milliseconds(options.m_Duration);
    }
    session.Settle();
    Collections collections;
    for (const auto& work : orders) {
        collections.emplace_back(session, work, static_cast<unsigned int>(session.Timeout().count()));
    }
    try {
        ShowUntilOver(session, collections, !output.m_bJson && !options.m_bQuiet);
    } catch (const CORBA::SystemException& e) {
        EndWithCallsUnderWay(ReportFailure(output, NoAnswerFrom(session.Address(), e)));
    }
    std::optional<Packing> packing;
    if (!options.m_PackMethod.empty() && HasResult(collections)) packing.emplace(Pack(session, options));
    (output.m_bJson ? PrintOutcomesAsJson : PrintOutcomes)(session, collections, packing);
    return std::max(ExitCodeOf(collections), ExitCodeOf(packing));
}

}  // namespace northbound
