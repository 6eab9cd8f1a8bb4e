#include "commands.h"

#include <omniORB4/minorCode.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <list>
#include <thread>

#include "collections.h"
#include "format.h"
#include "json.h"
#include "progressview.h"
#include "reasons.h"
#include "table.h"

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds POLL(100);

unsigned int Milliseconds(double seconds)
{
    return static_cast<unsigned int>(std::lround(seconds * 1000));
}

/// Looks every now and then until \p bDone answers true.
/// \return false when that took longer than the timeout
template <class Condition>
bool WaitFor(const Manner& manner, Condition bDone)
{
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(Milliseconds(manner.m_Timeout));
    while (!bDone()) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(POLL);
    }
    return true;
}

using Collections = std::list<Collection>;

bool AllOver(const Collections& collections)
{
    return std::all_of(collections.begin(), collections.end(),
                       [](const Collection& c) { return c.IsOver(); });
}

void ShowProgressUntilOver(const Session& session, const Collections& collections)
{
    ProgressView view;
    while (!AllOver(collections)) {
        const Northbound::HugeTaskList_var tasks = session.Server()->HugeTasks(session.Who());
        view.Show(tasks);
        std::this_thread::sleep_for(POLL);
    }
    view.Show(Northbound::HugeTaskList());
}

std::string OutcomeJson(const Collection& collection)
{
    JsonObject outcome;
    outcome.Text("dn", collection.Work().dn.in());
    if (collection.Result() != nullptr) outcome.Raw("result", ToJson(*collection.Result()));
    if (collection.Refusal() != nullptr) outcome.Raw("refusal", ToJson(*collection.Refusal()));
    if (collection.NoServer() != nullptr) outcome.Text("noServer", collection.NoServer()->_name());
    return outcome.Done();
}

void PrintOutcome(const Collection& collection)
{
    const std::string dn = Printable(collection.Work().dn.in());
    if (const Northbound::CollectionResult* const pResult = collection.Result()) {
        std::cout << dn << ": " << pResult->samples << " samples; " << ToText(pResult->increase)
                  << "\n  file      " << Printable(pResult->file.in()) << "\n  operation "
                  << Printable(pResult->operation.in()) << '\n';
    } else if (collection.Refusal() != nullptr) {
        std::cerr << "nbi-client: " << dn << ": " << ToText(*collection.Refusal()) << '\n';
    } else {
        std::cerr << "nbi-client: " << dn << ": no answer (" << collection.NoServer()->_name() << ")\n";
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

Northbound::PackResult* Pack(const Session& session, const CollectOptions& options)
{
    Northbound::PackOrder work;
    work.method = options.m_PackMethod.c_str();
    work.perArchive =
        options.m_nPerArchive > 0 ? options.m_nPerArchive : static_cast<CORBA::ULong>(options.m_Ports.size());
    return session.Server()->Pack(session.Who(), work);
}

void PrintPacked(const Northbound::PackResult& packed)
{
    for (CORBA::ULong i = 0; i < packed.archives.length(); ++i) {
        std::cout << "packed into " << Printable(packed.archives[i].in()) << '\n';
    }
    std::cout << packed.waiting << " files wait for a later packing\n";
}

std::string PackedJson(const Northbound::PackResult& packed)
{
    std::vector<std::string> archives;
    for (CORBA::ULong i = 0; i < packed.archives.length(); ++i) {
        archives.push_back(JsonText(packed.archives[i].in()));
    }
    return JsonObject().Raw("archives", JsonArray(archives)).Number("waiting", packed.waiting).Done();
}

/// With \p pPacked the JSON is an object of the outcomes and of what was packed, else the outcomes alone.
void PrintOutcomes(const Collections& collections, const Manner& manner,
                   const Northbound::PackResult* pPacked)
{
    if (!manner.m_bJson) {
        for (const Collection& collection : collections) PrintOutcome(collection);
        if (pPacked != nullptr) PrintPacked(*pPacked);
        return;
    }
    std::vector<std::string> items;
    for (const Collection& collection : collections) items.push_back(OutcomeJson(collection));
    const std::string outcomes = JsonArray(items);
    std::cout << (pPacked == nullptr
                      ? outcomes
                      : JsonObject().Raw("collections", outcomes).Raw("packed", PackedJson(*pPacked)).Done())
              << '\n';
}

int WatchTasks(const Session& session)
{
    ProgressView view;
    for (;;) {
        const Northbound::HugeTaskList_var tasks = session.Server()->HugeTasks(session.Who());
        view.Show(tasks);
        if (tasks->length() == 0) return EXIT_DONE;
        std::this_thread::sleep_for(POLL);
    }
}

/// A server that is stopping turns requests away; one that has stopped takes no connection.
bool IsGone(const Session& session)
{
    try {
        return static_cast<bool>(session.Server()->_non_existent());
    } catch (const CORBA::TRANSIENT& e) {
        return e.minor() == omni::TRANSIENT_ConnectFailed;
    } catch (const CORBA::COMM_FAILURE&) {
        return false;  // the connection has ended; the next attempt tells whether there is a new one
    }
}

int ReportFailure(const Manner& manner, const std::string& json, const std::string& text, int nExitCode)
{
    if (manner.m_bJson) {
        std::cout << json << '\n';
    } else {
        std::cerr << "nbi-client: " << text << '\n';
    }
    return nExitCode;
}

int ReportTooLate(const Manner& manner, const std::string& text)
{
    return ReportFailure(manner, JsonObject().Text("tooLate", text).Done(), text, EXIT_REFUSED);
}

}  // namespace

int ShowInventory(const Session& session, const Manner& manner)
{
    const Northbound::PortList_var ports = session.Server()->Inventory(session.Who());
    const Northbound::ColumnList_var columns = session.Server()->Columns(session.Who());
    if (manner.m_bJson) {
        std::cout << JsonObject().Raw("ports", ToJson(ports.in())).Raw("figures", ToJson(columns.in())).Done()
                  << '\n';
    } else {
        Print(ports.in(), columns.in());
        std::cout << '\n';
        Print(columns.in());
    }
    return EXIT_DONE;
}

int ShowCounters(const Session& session, const Manner& manner, const std::string& port)
{
    const std::string dn = session.DnsOf({port}).front();
    const Northbound::Reading_var reading = session.Server()->ReadCounters(session.Who(), dn.c_str());
    if (manner.m_bJson) {
        std::cout << ToJson(reading.in()) << '\n';
    } else {
        Print(reading.in());
    }
    return EXIT_DONE;
}

int RunCollections(const Session& session, const Manner& manner, const CollectOptions& options)
{
    std::vector<Northbound::CollectionOrder> orders;
    for (const std::string& dn : session.DnsOf(options.m_Ports)) {
        orders.emplace_back();
        orders.back().dn = dn.c_str();
        orders.back().interval = Milliseconds(options.m_Interval);
        orders.back().duration = Milliseconds(options.m_Duration);
    }
    Collections collections;
    for (const auto& work : orders) collections.emplace_back(session, work, Milliseconds(manner.m_Timeout));
    if (!manner.m_bJson && !options.m_bQuiet) ShowProgressUntilOver(session, collections);
    while (!AllOver(collections)) std::this_thread::sleep_for(POLL);
    if (options.m_PackMethod.empty() || !HasResult(collections)) {
        PrintOutcomes(collections, manner, nullptr);
    } else {
        const Northbound::PackResult_var packed = Pack(session, options);
        PrintOutcomes(collections, manner, packed.operator->());
    }
    return ExitCodeOf(collections);
}

int SetItem(const Session& session, const Manner& manner, const ConfigOptions& options)
{
    session.Server()->SetItem(session.Who(), options.m_Key.c_str(), options.m_Value.c_str());
    std::cout << (manner.m_bJson ? JsonObject().Text("set", options.m_Key).Done()
                                 : Printable(options.m_Key) + " is set, and the configuration is in force")
              << '\n';
    return EXIT_DONE;
}

int ShowTasks(const Session& session, const Manner& manner, const TasksOptions& options)
{
    Northbound::HugeTaskList_var tasks;
    const bool bEnough = WaitFor(manner, [&] {
        tasks = session.Server()->HugeTasks(session.Who());
        return tasks->length() >= options.m_nAtLeast;
    });
    if (!bEnough) {
        return ReportTooLate(manner, "there are no " + std::to_string(options.m_nAtLeast) + " huge tasks");
    }
    if (options.m_bWatch) return WatchTasks(session);
    if (manner.m_bJson) {
        std::cout << ToJson(tasks.in()) << '\n';
    } else {
        Print(tasks.in());
    }
    return EXIT_DONE;
}

int StopServer(const Session& session, const Manner& manner)
{
    session.Server()->Stop(session.Who());
    if (!WaitFor(manner, [&session] { return IsGone(session); })) {
        return ReportTooLate(manner, "the server has the order to stop, but is still there");
    }
    std::cout << (manner.m_bJson ? "{\"stopped\":true}" : "the server has stopped") << '\n';
    return EXIT_DONE;
}

int ShowReason(const Manner& manner, unsigned int nCode)
{
    const std::string reason = ReasonOf(nCode);
    const std::string hex = CodeText(nCode);
    const std::string json =
        JsonObject().Number("code", nCode).Text("hex", hex).Text("reason", reason).Done();
    if (reason.empty()) {
        return ReportFailure(manner, json, "the catalogue has no reason for code " + hex, EXIT_REFUSED);
    }
    std::cout << (manner.m_bJson ? json : hex + ": " + Printable(reason)) << '\n';
    return EXIT_DONE;
}

int ReportInputError(const Manner& manner, const InputError& error)
{
    return ReportFailure(manner, JsonObject().Text("badInput", error.what()).Done(), error.what(),
                         EXIT_BAD_USAGE);
}

int ReportRefusal(const Manner& manner, const Northbound::OperationFailed& failure)
{
    return ReportFailure(manner, ToJson(failure), ToText(failure), EXIT_REFUSED);
}

int ReportNoServer(const Manner& manner, const CORBA::SystemException& failure)
{
    const char* const pMinor = failure.NP_minorString();
    const std::string reason = pMinor == nullptr ? failure._name() : pMinor;
    return ReportFailure(manner, JsonObject().Text("noServer", manner.m_Server).Text("reason", reason).Done(),
                         "no answer from a server at " + manner.m_Server + " (" + reason + ")",
                         EXIT_NO_SERVER);
}

}  // namespace northbound
