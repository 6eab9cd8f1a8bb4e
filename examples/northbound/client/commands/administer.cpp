#include "client/commands/commands.h"
#include "client/commands/report.h"
#include "client/commands/waiting.h"
#include "client/view/json.h"
#include "client/view/table.h"

namespace northbound {

int SetItem(const Session& session, const OutputOptions& output, const ConfigOptions& options)
{
    const bool bInForce =
        session.Server()->SetItem(session.Who(), options.m_Key.c_str(), options.m_Value.c_str());
    const char* const pWhen = bInForce ? " is set, and the configuration is in force"
                                       : " is set, and holds after a restart of the server";
    return ReportDone(
        output, JsonObject().Text("set", options.m_Key).Raw("inForce", bInForce ? "true" : "false").Done(),
        Printable(options.m_Key) + pWhen);
}

int CancelCollection(const Session& session, const OutputOptions& output, const std::string& operation)
{
    session.Server()->Cancel(session.Who(), operation.c_str());
    return ReportDone(output, JsonObject().Text("cancelled", operation).Done(),
                      Printable(operation) + " is cancelled");
}

int StopServer(const Session& session, const OutputOptions& output)
{
    session.Server()->Stop(session.Who());
    if (!WaitFor(session, [&session] { return session.IsGone(); })) {
        return ReportFailure(
            output, TooLate(session.Address(), "the server has the order to stop, but is still there"));
    }
    return ReportDone(output, "{\"stopped\":true}", "the server has stopped");
}

}  // namespace northbound
