#include "client/commands/outcomes.h"

#include <algorithm>
#include <iostream>
#include <vector>

#include "client/texts/texts.h"
#include "client/view/clusterview.h"
#include "client/view/format.h"
#include "client/view/json.h"
#include "client/view/screen.h"
#include "client/view/table.h"

namespace northbound {
namespace {

/// How many samples, and whether they are where they should be.
std::string SamplesText(const Northbound::CollectionResult& result)
{
    const std::string samples = std::to_string(result.samples);
    if (result.late == 0) return Say("{1} samples", {samples});
    return Say("{1} samples, {2} of them late by an interval or more",
               {samples, std::to_string(result.late)});
}

std::string OutcomeJson(const Outcome& outcome)
{
    JsonObject object;
    object.Text("dn", outcome.m_Dn);
    if (outcome.m_pResult != nullptr) {
        object.Raw("result", ToJson(*outcome.m_pResult));
    } else {
        object.Raw("error", ErrorJson(*outcome.m_Failure));
    }
    if (outcome.m_Parts) object.Raw("parts", ToJson(*outcome.m_Parts));
    return object.Done();
}

void PrintResult(const std::string& dn, const Northbound::CollectionResult& result)
{
    std::cout << Say("{1}: {2}; {3}", {dn, SamplesText(result), ToText(result.increase)}) << "\n  "
              << Say("file      {1}", {Printable(result.file.in())}) << "\n  "
              << Say("operation {1}", {Printable(result.operation.in())}) << '\n';
}

void PrintOutcome(const Outcome& outcome)
{
    const std::string dn = Printable(outcome.m_Dn);
    if (outcome.m_pResult == nullptr) {
        std::cerr << Red("nbi-client:", ErrorScreen()) << ' ' << dn << ": " << ToText(*outcome.m_Failure)
                  << '\n';
        return;
    }
    PrintResult(dn, *outcome.m_pResult);
    if (outcome.m_Parts && outcome.m_Parts->length() > 1) Print(*outcome.m_Parts);
}

int ExitCodeOf(const Outcomes& outcomes)
{
    int nExitCode = EXIT_DONE;
    for (const Outcome& outcome : outcomes) {
        if (outcome.m_Failure) nExitCode = std::max<int>(nExitCode, outcome.m_Failure->m_nExitCode);
    }
    return nExitCode;
}

bool HasResult(const Outcomes& outcomes)
{
    return std::any_of(outcomes.begin(), outcomes.end(),
                       [](const Outcome& outcome) { return outcome.m_pResult != nullptr; });
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

int ExitCodeOf(const std::optional<Packing>& packing)
{
    return packing && packing->m_Failure ? packing->m_Failure->m_nExitCode : EXIT_DONE;
}

void PrintOutcomes(const Outcomes& outcomes, const std::optional<Packing>& packing)
{
    for (const Outcome& outcome : outcomes) PrintOutcome(outcome);
    if (!packing) return;
    if (packing->m_Failure) {
        ReportFailure({}, *packing->m_Failure);
    } else {
        Print(packing->m_pResult.in());
    }
}

void PrintOutcomesAsJson(const Outcomes& outcomes, const std::optional<Packing>& packing)
{
    std::vector<std::string> items;
    items.reserve(outcomes.size());
    for (const Outcome& outcome : outcomes) items.push_back(OutcomeJson(outcome));
    std::cout << JsonObject().Raw("collections", JsonArray(items)).Raw("packed", PackingJson(packing)).Done()
              << '\n';
}

}  // namespace

int PackAndReport(const Session& session, const OutputOptions& output, const CollectOptions& options,
                  const Outcomes& outcomes)
{
    std::optional<Packing> packing;
    if (!options.m_PackMethod.empty() && HasResult(outcomes)) packing.emplace(Pack(session, options));
    (output.m_bJson ? PrintOutcomesAsJson : PrintOutcomes)(outcomes, packing);
    return std::max(ExitCodeOf(outcomes), ExitCodeOf(packing));
}

}  // namespace northbound
