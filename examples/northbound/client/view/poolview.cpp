#include "client/view/poolview.h"

#include <algorithm>
#include <array>
#include <iostream>

#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/reasons.h"
#include "client/view/table.h"

namespace northbound {
namespace {

using Align = Table::Align;
using Northbound::Pool;
using Northbound::PoolReport;

constexpr unsigned long long SECOND = 1'000'000'000;
constexpr unsigned long long LONG_BODY = 10 * SECOND;
constexpr unsigned long long LONG_WAIT = 5 * SECOND;

std::string TimesToJson(const Northbound::TaskTimes& times)
{
    return JsonObject()
        .Number("median", times.median)
        .Number("p99", times.p99)
        .Number("longest", times.longest)
        .Done();
}

std::string RefusedToJson(const Northbound::RefusalsList& refused)
{
    JsonObject object;
    for (CORBA::ULong i = 0; i < refused.length(); ++i) {
        object.Number(CodeText(refused[i].code).c_str(), refused[i].count);
    }
    return object.Done();
}

std::string PoolToJson(const Pool& pool)
{
    return JsonObject()
        .Number("number", pool.number)
        .Number("workers", pool.workers)
        .Number("started", pool.started)
        .Number("busy", pool.busy)
        .Number("queued", pool.queued)
        .Number("mostQueued", pool.mostQueued)
        .Number("pushed", pool.pushed)
        .Number("finished", pool.finished)
        .Number("failed", pool.failed)
        .Number("dropped", pool.dropped)
        .Number("deferred", pool.deferred)
        .Raw("refused", RefusedToJson(pool.refused))
        .Raw("waiting", TimesToJson(pool.waiting))
        .Raw("running", TimesToJson(pool.running))
        .Number("oldestQueued", pool.oldestQueued)
        .Number("longestBody", pool.longestBody)
        .Text("longestOperation", pool.longestOperation.in())
        .Number("inBook", pool.inBook)
        .Number("bookLimit", pool.bookLimit)
        .Done();
}

unsigned long long RefusedBy(const Pool& pool)
{
    unsigned long long nRefused = 0;
    for (CORBA::ULong i = 0; i < pool.refused.length(); ++i) nRefused += pool.refused[i].count;
    return nRefused;
}

const Pool* PoolIn(const PoolReport& report, CORBA::ULong nNumber)
{
    for (CORBA::ULong i = 0; i < report.pools.length(); ++i) {
        if (report.pools[i].number == nNumber) return &report.pools[i];
    }
    return nullptr;
}

/// All workers have work, and some of it takes long.
std::string FullFinding(const Pool* pBefore, const Pool& now)
{
    const bool bAllBusy = now.started > 0 && now.busy == now.started;
    if (!bAllBusy || now.queued == 0 || now.longestBody < LONG_BODY) return "";
    const std::string queued = std::to_string(now.queued);
    const std::string workers = std::to_string(now.busy);
    const std::string longest = DurationText(now.longestBody);
    const std::string operation = Printable(now.longestOperation.in());
    if (pBefore != nullptr && now.queued > pBefore->queued) {
        return Say("its queue grows, now {1}, while all {2} workers are busy, one for {3} with operation {4}",
                   {queued, workers, longest, operation});
    }
    return Say("{1} tasks wait while all {2} workers are busy, one for {3} with operation {4}",
               {queued, workers, longest, operation});
}

/// Tasks wait although nobody works on others.
std::string StuckFinding(const Pool& now)
{
    if (now.busy >= now.started || now.queued == 0 || now.oldestQueued < LONG_WAIT) return "";
    const std::string queued = std::to_string(now.queued);
    if (now.bookLimit > 0 && now.inBook >= now.bookLimit) {
        return Say("{1} tasks wait, since {2} of {3} huge tasks are running",
                   {queued, std::to_string(now.inBook), std::to_string(now.bookLimit)});
    }
    return Say("{1} tasks wait, the first for {2}, though {3} workers are free: the pool hangs",
               {queued, DurationText(now.oldestQueued), std::to_string(now.started - now.busy)});
}

std::string StartFinding(const Pool& now)
{
    if (now.started >= now.workers) return "";
    return Say("only {1} of {2} workers have started",
               {std::to_string(now.started), std::to_string(now.workers)});
}

std::string FailureFinding(const Pool* pBefore, const Pool& now)
{
    if (pBefore == nullptr || now.failed <= pBefore->failed) return "";
    return Say("{1} tasks have failed meanwhile; the log says why",
               {std::to_string(now.failed - pBefore->failed)});
}

std::string RefusalFinding(const Pool* pBefore, const Pool& now)
{
    if (pBefore == nullptr || RefusedBy(now) <= RefusedBy(*pBefore)) return "";
    return Say("{1} tasks were refused meanwhile", {std::to_string(RefusedBy(now) - RefusedBy(*pBefore))});
}

}  // namespace

std::string ToJson(const PoolReport& report)
{
    std::vector<std::string> pools;
    for (CORBA::ULong i = 0; i < report.pools.length(); ++i) pools.push_back(PoolToJson(report.pools[i]));
    return JsonObject()
        .Raw("pools", JsonArray(pools))
        .Number("waiting", report.waiting)
        .Number("waitingLong", report.waitingLong)
        .Number("linesLost", report.linesLost)
        .Done();
}

void Print(const PoolReport& report)
{
    Table table({{Say("POOL"), Align::RIGHT},
                 {Say("BUSY"), Align::RIGHT},
                 {Say("QUEUED"), Align::RIGHT},
                 {Say("MOST"), Align::RIGHT},
                 {Say("PUSHED"), Align::RIGHT},
                 {Say("FAILED"), Align::RIGHT},
                 {Say("REFUSED"), Align::RIGHT},
                 {Say("WAITED (50 %)"), Align::RIGHT},
                 {Say("WAITED (99 %)"), Align::RIGHT},
                 {Say("RAN (99 %)"), Align::RIGHT},
                 {Say("OLDEST QUEUED"), Align::RIGHT},
                 {Say("LONGEST BODY"), Align::RIGHT}});
    for (CORBA::ULong i = 0; i < report.pools.length(); ++i) {
        const Pool& pool = report.pools[i];
        table.Add(
            {std::to_string(pool.number), std::to_string(pool.busy) + "/" + std::to_string(pool.workers),
             std::to_string(pool.queued), std::to_string(pool.mostQueued), std::to_string(pool.pushed),
             std::to_string(pool.failed), std::to_string(RefusedBy(pool)), DurationText(pool.waiting.median),
             DurationText(pool.waiting.p99), DurationText(pool.running.p99), DurationText(pool.oldestQueued),
             DurationText(pool.longestBody)});
    }
    table.Print(std::cout);
}

std::string DurationText(unsigned long long nNanoseconds)
{
    struct Unit {
        const char* m_pName;
        unsigned long long m_nLength;
    };
    constexpr std::array<Unit, 7> UNITS = {{{"d", 86400 * SECOND},
                                            {"h", 3600 * SECOND},
                                            {"min", 60 * SECOND},
                                            {"s", SECOND},
                                            {"ms", 1'000'000},
                                            {"us", 1000},
                                            {"ns", 1}}};
    if (nNanoseconds == 0) return "-";
    const auto unit = std::find_if(UNITS.begin(), UNITS.end() - 1, [=](const Unit& candidate) {
        return nNanoseconds >= candidate.m_nLength;
    });
    const unsigned long long nTenths = nNanoseconds / std::max(unit->m_nLength / 10, 1ULL);
    const bool bTenths = unit->m_nLength > 1 && nTenths < 100;
    const std::string figure = bTenths ? std::to_string(nTenths / 10) + "." + std::to_string(nTenths % 10)
                                       : std::to_string(nNanoseconds / unit->m_nLength);
    return figure + " " + unit->m_pName;
}

std::vector<std::string> Findings(const PoolReport& before, const PoolReport& now)
{
    std::vector<std::string> findings;
    for (CORBA::ULong i = 0; i < now.pools.length(); ++i) {
        const Pool& pool = now.pools[i];
        const Pool* const pBefore = PoolIn(before, pool.number);
        for (const std::string& finding : {StartFinding(pool), FullFinding(pBefore, pool), StuckFinding(pool),
                                           FailureFinding(pBefore, pool), RefusalFinding(pBefore, pool)}) {
            if (finding.empty()) continue;
            findings.push_back(Say("pool {1}: {2}", {std::to_string(pool.number), finding}));
        }
    }
    if (now.waitingLong > 0) {
        findings.push_back(Say("{1} threads have waited for a task's end for more than a minute",
                               {std::to_string(now.waitingLong)}));
    }
    if (now.linesLost > 0) {
        findings.push_back(Say("{1} log lines are lost: is the disk full?", {std::to_string(now.linesLost)}));
    }
    return findings;
}

}  // namespace northbound
