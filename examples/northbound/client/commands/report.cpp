#include "client/commands/report.h"

#include <iostream>

#include "client/corba/session.h"
#include "client/view/format.h"
#include "client/view/json.h"

namespace northbound {

int ReportFailure(const OutputOptions& output, const std::string& json, const std::string& text,
                  int nExitCode)
{
    if (output.m_bJson) {
        std::cout << json << '\n';
    } else {
        std::cerr << "nbi-client: " << text << '\n';
    }
    return nExitCode;
}

int ReportTooLate(const OutputOptions& output, const std::string& text)
{
    return ReportFailure(output, JsonObject().Text("tooLate", text).Done(), text, EXIT_REFUSED);
}

int ReportInputError(const OutputOptions& output, const InputError& error)
{
    return ReportFailure(output, JsonObject().Text("badInput", error.what()).Done(), error.what(),
                         EXIT_BAD_USAGE);
}

int ReportRefusal(const OutputOptions& output, const Northbound::OperationFailed& failure)
{
    return ReportFailure(output, ToJson(failure), ToText(failure), EXIT_REFUSED);
}

int ReportNoServer(const OutputOptions& output, const std::string& server,
                   const CORBA::SystemException& failure)
{
    const std::string reason = Session::ReasonOf(failure);
    return ReportFailure(output, JsonObject().Text("noServer", server).Text("reason", reason).Done(),
                         "no answer from a server at " + server + " (" + reason + ")", EXIT_NO_SERVER);
}

}  // namespace northbound
