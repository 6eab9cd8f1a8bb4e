#include "client/commands/fetch.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <vector>

#include "client/commands/partstore.h"
#include "client/corba/cluster.h"
#include "client/corba/pages.h"
#include "client/corba/partsource.h"
#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/table.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr CORBA::ULong MOST_PARTS = 1000;

using Addresses = std::map<std::string, std::string>;  // by the server's name

struct WantedPart {
    PartExtent m_Extent;
    std::string m_Server;
};
using WantedParts = std::vector<WantedPart>;

std::string FileFor(const FetchOptions& options)
{
    if (!options.m_File.empty()) return options.m_File;
    const std::string& operation = options.m_Operation;
    const bool bName = !operation.empty() && std::all_of(operation.begin(), operation.end(), [](char c) {
        return std::string("0123456789abcdef-").find(c) != std::string::npos;
    });
    if (!bName) throw InputError(Say("{1} cannot be the name of a file: give one", {Printable(operation)}));
    return operation + ".csv";
}

/// Has the session ask all that share the book.
Addresses FindServers(const Session& session)
{
    const Northbound::ServerList_var servers = AllServers(session);
    Addresses addresses;
    for (CORBA::ULong i = 0; i < servers->length(); ++i) {
        addresses[servers.in()[i].name.in()] = servers.in()[i].address.in();
    }
    if (!addresses.empty()) session.Adopt(ByLoad(servers.in()));
    return addresses;
}

/// \throws Northbound::OperationFailed when they are not all samples of the collection, each once
WantedParts PartsOf(const Northbound::OrderState& state)
{
    WantedParts parts;
    parts.reserve(std::min(state.parts.length(), MOST_PARTS));
    unsigned int nNext = 0;
    bool bRight = state.parts.length() <= MOST_PARTS;
    for (CORBA::ULong i = 0; bRight && i < state.parts.length(); ++i) {
        const Northbound::Part& part = state.parts[i];
        if (part.samples == 0) continue;  // of a server that died before its first one
        bRight = part.first == nNext && part.samples <= state.samplesPlanned - nNext;
        nNext += part.samples;
        parts.push_back({{part.first, part.samples}, part.server.in()});
    }
    if (bRight && !parts.empty() && nNext == state.samplesPlanned) return parts;
    throw Northbound::OperationFailed(
        ErrCode::INTERNAL, Say("the parts that the server tells of are not the collection").c_str());
}

/// \return "" when it is there now; else, why not
std::string Bring(const Session& session, const std::string& operation, const WantedPart& part,
                  const Addresses& addresses, PartStore& store)
{
    if (store.Has(part.m_Extent)) return "";
    const auto address = addresses.find(part.m_Server);
    const std::string why = BringPart(
        session, operation, part.m_Extent.m_nFirst, address == addresses.end() ? "" : address->second,
        [&store] { store.Begin(); },
        [&store](const unsigned char* pBytes, std::size_t nBytes) {
            store.Add(reinterpret_cast<const char*>(pBytes), nBytes);
        });
    if (!why.empty() || store.Keep(part.m_Extent)) return why;
    return Say("{1}: these are not the lines of the part", {session.Address()});
}

std::string Missing(const WantedPart& part, const std::string& why)
{
    const unsigned int nFirst = part.m_Extent.m_nFirst;
    return Say("samples {1} to {2} of server {3} are missing ({4})",
               {std::to_string(nFirst), std::to_string(nFirst + part.m_Extent.m_nSamples - 1),
                Printable(part.m_Server), why});
}

/// \return what is missing
std::string BringAll(const Session& session, const std::string& operation, const WantedParts& parts,
                     const Addresses& addresses, PartStore& store)
{
    std::string missing;
    for (const WantedPart& part : parts) {
        const std::string why = Bring(session, operation, part, addresses, store);
        if (!why.empty()) missing += (missing.empty() ? "" : "; ") + Missing(part, why);
    }
    return missing;
}

void Join(const WantedParts& parts, PartStore& store)
{
    std::vector<PartExtent> extents;
    extents.reserve(parts.size());
    for (const WantedPart& part : parts) extents.push_back(part.m_Extent);
    if (store.Join(extents)) return;
    throw Northbound::OperationFailed(ErrCode::INTERNAL,
                                      Say("the parts do not have the same columns").c_str());
}

int ReportMissing(const OutputOptions& output, const Session& session, const std::string& file,
                  const std::string& missing)
{
    return ReportFailure(output, Failure{"incomplete",
                                         EXIT_INCOMPLETE,
                                         Say("{1} is not whole: {2}; what has come is kept, and the same "
                                             "command goes on with the rest",
                                             {file, missing}),
                                         {},
                                         session.Address()});
}

}  // namespace

int FetchCollection(const Session& session, const OutputOptions& output, const FetchOptions& options)
{
    const std::string file = FileFor(options);
    const Addresses addresses = FindServers(session);
    const Northbound::OrderState_var state =
        session.Read([&options](Northbound::Manager_ptr server, const Northbound::Caller& who) {
            return server->Await(who, options.m_Operation.c_str(), 0);
        });
    if (std::string(state->phase.in()) != "ended") {
        return ReportFailure(output, TooLate(session, Say("the collection has not ended: {1} of {2} samples",
                                                          {std::to_string(state->samplesTaken),
                                                           std::to_string(state->samplesPlanned)})));
    }
    if (state->code != 0) throw Northbound::OperationFailed(state->code, state->detail.in());
    const WantedParts parts = PartsOf(state.in());
    PartStore store(file, options.m_Operation);
    const std::string missing = BringAll(session, options.m_Operation, parts, addresses, store);
    if (!missing.empty()) return ReportMissing(output, session, file, missing);
    Join(parts, store);
    return ReportDone(output,
                      JsonObject()
                          .Text("file", file)
                          .Number("samples", state->samplesPlanned)
                          .Number("parts", parts.size())
                          .Done(),
                      Say("{1}: {2} samples of {3} parts",
                          {file, std::to_string(state->samplesPlanned), std::to_string(parts.size())}));
}

}  // namespace northbound
