#include "client/commands/failure.h"

#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/reasons.h"
#include "client/view/table.h"
#include "shared/names.h"
#include "shared/tlsfiles.h"

namespace northbound {

namespace {

/// What is the same whoever was asked; \p server for what it says itself.
Failure WithoutRefusal(const std::string& server)
{
    try {
        throw;
    } catch (const InputError& e) {
        return Failure{"input", EXIT_BAD_USAGE, e.what(), {}, server};
    } catch (const TlsError& e) {
        return Failure{"input", EXIT_BAD_USAGE, Translated(e.what()), {}, server};
    } catch (const NoAnswer& e) {
        return Failure{
            "no-server", EXIT_NO_SERVER, Say("no answer from any server: {1}", {e.what()}), {}, server};
    } catch (const CORBA::SystemException& e) {
        return NoAnswerFrom(server, e);
    } catch (const std::exception& e) {
        return Failure{"unforeseen", EXIT_REFUSED, Say("unforeseen failure: {1}", {e.what()}), {}, server};
    } catch (...) {
        return Failure{"unforeseen", EXIT_REFUSED, Say("unforeseen failure"), {}, server};
    }
}

Failure Refused(const std::string& server, const Northbound::OperationFailed& refusal)
{
    return Failure{"refused", EXIT_REFUSED, refusal.detail.in(), refusal.code, server};
}

}  // namespace

Failure RefusedBy(const Session& session, const Northbound::OperationFailed& refusal)
{
    Failure failure = Refused(session.Address(), refusal);
    failure.m_bTellServer = session.HasSeveralServers();
    return failure;
}

Failure NoAnswerFrom(const std::string& server, const CORBA::SystemException& failure)
{
    if (Session::IsTooLong(failure)) {
        return Failure{"input",
                       EXIT_BAD_USAGE,
                       Say("the request is longer than the {1} bytes of a message; it was not sent",
                           {std::to_string(MAX_MESSAGE)}),
                       {},
                       server};
    }
    return Failure{"no-server",
                   EXIT_NO_SERVER,
                   Say("no answer from a server at {1} ({2})", {server, Session::ReasonOf(failure)}),
                   {},
                   server};
}

Failure TooLate(const Session& session, const std::string& detail)
{
    return Failure{"late", EXIT_REFUSED, detail, {}, session.Address(), session.HasSeveralServers()};
}

Failure CurrentFailure(const Session& session)
{
    try {
        throw;
    } catch (const Northbound::OperationFailed& e) {
        return RefusedBy(session, e);
    } catch (...) {
        return WithoutRefusal(session.Address());
    }
}

Failure CurrentFailure(const std::string& server)
{
    try {
        throw;
    } catch (const Northbound::OperationFailed& e) {
        return Refused(server, e);
    } catch (...) {
        return WithoutRefusal(server);
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
    std::string text = Printable(failure.m_Detail);
    if (failure.m_nCode) {
        text = Say("failed with code {1}: {2}", {CodeText(*failure.m_nCode), text});
        const std::string reason = ReasonOf(*failure.m_nCode);
        if (!reason.empty()) text += "\n  " + Say("reason: {1}", {Printable(reason)});
    }
    if (!failure.m_bTellServer) return text;
    text += "\n  " + Say("server: {1}", {failure.m_Server});
    if (failure.m_nCode == ErrCode::NOT_LOGGED_IN) {
        text += "\n  " + Say("a session is good at one server: log in there, or give --password-file");
    }
    return text;
}

}  // namespace northbound
