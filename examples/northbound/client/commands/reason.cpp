#include "client/commands/commands.h"
#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/reasons.h"
#include "client/view/table.h"

namespace northbound {

int ShowReason(const OutputOptions& output, unsigned int nCode)
{
    const std::string reason = ReasonOf(nCode);
    const std::string hex = CodeText(nCode);
    if (reason.empty()) {
        return ReportFailure(
            output,
            Failure{
                "no-reason", EXIT_REFUSED, Say("the catalogue has no reason for code {1}", {hex}), {}, ""});
    }
    return ReportDone(output,
                      JsonObject().Number("code", nCode).Text("hex", hex).Text("reason", reason).Done(),
                      hex + ": " + Printable(reason));
}

}  // namespace northbound
