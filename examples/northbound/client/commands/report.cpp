#include "client/commands/report.h"

#include <iostream>

#include "client/texts/texts.h"
#include "client/view/output.h"
#include "client/view/screen.h"

namespace northbound {

int ReportDone(const OutputOptions& output, const std::string& json, const std::string& text)
{
    std::cout << (output.m_bJson ? json : text) << '\n';
    return EXIT_DONE;
}

int ReportFailure(const OutputOptions& output, const Failure& failure)
{
    if (output.m_bJson) {
        std::cout << ToJson(failure) << '\n';
    } else {
        std::cerr << Red("nbi-client:", ErrorScreen()) << ' ' << ToText(failure) << '\n';
    }
    return failure.m_nExitCode;
}

int AfterOutput(int nExitCode)
{
    if (FlushOutput()) return nExitCode;
    const std::string why = WhyOutputIsLost();
    std::cerr << "nbi-client: " << Say("the output cannot be written") << (why.empty() ? "" : ": " + why)
              << '\n';
    return nExitCode == EXIT_DONE ? EXIT_REFUSED : nExitCode;
}

}  // namespace northbound
