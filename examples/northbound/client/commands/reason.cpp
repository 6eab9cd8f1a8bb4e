#include <iostream>

#include "client/commands/commands.h"
#include "client/view/json.h"
#include "client/view/reasons.h"
#include "client/view/table.h"

namespace northbound {

int ShowReason(const OutputOptions& output, unsigned int nCode)
{
    const std::string reason = ReasonOf(nCode);
    const std::string hex = CodeText(nCode);
    const std::string json =
        JsonObject().Number("code", nCode).Text("hex", hex).Text("reason", reason).Done();
    if (reason.empty()) {
        return ReportFailure(output, json, "the catalogue has no reason for code " + hex, EXIT_REFUSED);
    }
    std::cout << (output.m_bJson ? json : hex + ": " + Printable(reason)) << '\n';
    return EXIT_DONE;
}

}  // namespace northbound
