#include "client/commands/commands.h"
#include "client/commands/report.h"
#include "client/commands/waiting.h"
#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/table.h"

namespace northbound {

int SetItem(const Session& session, const OutputOptions& output, const ConfigOptions& options)
{
    session.Settle();
    const bool bInForce =
        session.Server()->SetItem(session.Who(), options.m_Key.c_str(), options.m_Value.c_str());
    const std::string key = Printable(options.m_Key);
    return ReportDone(
        output, JsonObject().Text("set", options.m_Key).Raw("inForce", bInForce ? "true" : "false").Done(),
        bInForce ? Say("{1} is set, and the configuration is in force", {key})
                 : Say("{1} is set, and holds after a restart of the server", {key}));
}

int CancelCollection(const Session& session, const OutputOptions& output, const std::string& operation)
{
    session.Settle();
    session.Server()->Cancel(session.Who(), operation.c_str());
    return ReportDone(output, JsonObject().Text("cancelled", operation).Done(),
                      Say("{1} is cancelled", {Printable(operation)}));
}

int StopServer(const Session& session, const OutputOptions& output)
{
    session.Settle();
    session.Server()->Stop(session.Who());
    if (!WaitFor(session, [&session] { return session.IsGone(); })) {
        return ReportFailure(output,
                             TooLate(session, Say("the server has the order to stop, but is still there")));
    }
    return ReportDone(output, "{\"stopped\":true}", Say("the server has stopped"));
}

}  // namespace northbound
