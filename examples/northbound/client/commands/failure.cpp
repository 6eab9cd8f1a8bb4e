#include "client/commands/failure.h"

#include "client/corba/session.h"
#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/reasons.h"
#include "client/view/table.h"

namespace northbound {

Failure RefusedBy(const std::string& server, const Northbound::OperationFailed& refusal)
{
    return Failure{"refused", EXIT_REFUSED, refusal.detail.in(), refusal.code, server};
}

Failure NoAnswerFrom(const std::string& server, const CORBA::SystemException& failure)
{
    return Failure{"no-server",
                   EXIT_NO_SERVER,
                   Say("no answer from a server at {1} ({2})", {server, Session::ReasonOf(failure)}),
                   {},
                   server};
}

Failure TooLate(const std::string& server, const std::string& detail)
{
    return Failure{"late", EXIT_REFUSED, detail, {}, server};
}

Failure CurrentFailure(const std::string& server)
{
    try {
        throw;
    } catch (const InputError& e) {
        return Failure{"input", EXIT_BAD_USAGE, e.what(), {}, server};
    } catch (const Northbound::OperationFailed& e) {
        return RefusedBy(server, e);
    } catch (const CORBA::SystemException& e) {
        return NoAnswerFrom(server, e);
    } catch (const std::exception& e) {
        return Failure{"unforeseen", EXIT_REFUSED, Say("unforeseen failure: {1}", {e.what()}), {}, server};
    } catch (...) {
        return Failure{"unforeseen", EXIT_REFUSED, Say("unforeseen failure"), {}, server};
    }
}

std::string ErrorJson(const Failure& failure)
{
    const std::optional<unsigned int> nCode = failure.m_nCode;
    return JsonObject()
        .Text("kind", failure.m_pKind)
        .Number("exit", static_cast<int>(failure.m_nExitCode))
        .Raw("code", nCode ? std::to_string(*nCode) : "null")
        .Raw("hex", nCode ? JsonText(CodeText(*nCode)) : "null")
        .Text("detail", failure.m_Detail)
        .Text("reason", nCode ? ReasonOf(*nCode) : "")
        .Text("server", failure.m_Server)
        .Done();
}

std::string ToJson(const Failure& failure)
{
    return JsonObject().Raw("error", ErrorJson(failure)).Done();
}

std::string ToText(const Failure& failure)
{
    const std::string detail = Printable(failure.m_Detail);
    if (!failure.m_nCode) return detail;
    const std::string text = Say("failed with code {1}: {2}", {CodeText(*failure.m_nCode), detail});
    const std::string reason = ReasonOf(*failure.m_nCode);
    return reason.empty() ? text : text + "\n  " + Say("reason: {1}", {Printable(reason)});
}

}  // namespace northbound
