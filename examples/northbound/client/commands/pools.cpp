#include <iostream>
#include <thread>

#include "client/commands/commands.h"
#include "client/commands/report.h"
#include "client/corba/pages.h"
#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/poolview.h"

namespace northbound {
namespace {

/// Between the two looks of a diagnosis: time for a queue to grow.
constexpr std::chrono::seconds BETWEEN_LOOKS(1);

std::string FindingsToJson(const std::vector<std::string>& findings)
{
    std::vector<std::string> texts;
    texts.reserve(findings.size());
    for (const std::string& finding : findings) texts.push_back(JsonText(finding));
    return JsonObject().Raw("findings", JsonArray(texts)).Done();
}

}  // namespace

int ShowPools(const Session& session, const OutputOptions& output)
{
    const Northbound::PoolReport_var report = Pools(session);
    if (output.m_bJson) {
        std::cout << ToJson(report.in()) << '\n';
    } else {
        Print(report.in());
    }
    return EXIT_DONE;
}

int Diagnose(const Session& session, const OutputOptions& output)
{
    session.Settle();  // both looks are at the same server
    const Northbound::PoolReport_var before = Pools(session);
    std::this_thread::sleep_for(BETWEEN_LOOKS);
    const Northbound::PoolReport_var now = Pools(session);
    const std::vector<std::string> findings = Findings(before.in(), now.in());
    if (output.m_bJson) {
        std::cout << FindingsToJson(findings) << '\n';
    } else {
        for (const std::string& finding : findings) std::cout << finding << '\n';
        if (findings.empty()) std::cout << Say("nothing looks wrong") << '\n';
    }
    return findings.empty() ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace northbound
