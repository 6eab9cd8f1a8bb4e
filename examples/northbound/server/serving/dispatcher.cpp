#include "server/serving/dispatcher.h"

#include <new>
#include <string>
#include <utility>

#include "nbihost/standalone.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "dispatcher";

void CheckUser(const std::string& user)
{
    if (user.size() <= RequestScope::MAX_USER) return;
    ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE,
                 "the user's name is longer than " + std::to_string(RequestScope::MAX_USER) + " characters");
}

void CheckRole(const Profile& operation, const Caller& caller)
{
    if (caller.m_Role >= operation.m_LeastRole) return;
    if (caller.m_Role == Role::NONE) {
        ThrowFailure(ErrCode::NOT_LOGGED_IN, MODULE,
                     caller.m_Key.empty() ? "log in first" : "the session is over; log in again");
    }
    ThrowFailure(ErrCode::NOT_ALLOWED, MODULE,
                 std::string("the role ") + NameOf(caller.m_Role) + " does not reach: this takes " +
                     NameOf(operation.m_LeastRole));
}

}  // namespace

Dispatcher::Dispatcher(UserSessions& sessions, int nHugeTaskLimit)
    : m_Sessions(sessions), m_Agent("northbound", nHugeTaskLimit)
{
}

void Dispatcher::Admit(const Profile& operation, const Caller& caller)
{
    CheckUser(caller.m_User);
    CheckRole(operation, caller);
    // What anybody may ask tells what comes of it, or a crowd of strangers would fill the log.
    if (operation.m_LeastRole == Role::NONE) return;
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "request accepted");
}

/// Work that has queued for long may be nobody's by now.
void Dispatcher::CheckWaiting(const Caller& caller)
{
    if (!caller.m_HasGone || !caller.m_HasGone()) return;
    ThrowFailure(ErrCode::NOT_CARRIED_OUT, MODULE, "its caller no longer waits");
}

void Dispatcher::CheckSizes(const std::vector<BoundedText>& texts)
{
    for (const BoundedText& text : texts) {
        if (text.m_Text.size() <= text.m_nMost) continue;
        ThrowFailure(
            ErrCode::BAD_ARGUMENT, MODULE,
            std::string(text.m_pWhat) + " is longer than " + std::to_string(text.m_nMost) + " bytes");
    }
}

/// The caller is told also where there is no memory for a line of the log.
Failure Dispatcher::Refused(unsigned int nCode, std::string detail)
{
    try {
        LogRefusal(nCode, detail);
    } catch (const std::bad_alloc&) {
    }
    return {nCode, std::move(detail)};
}

/// Whoever is sent away may come a thousand times a second.
void Dispatcher::LogRefusal(unsigned int nCode, const std::string& detail)
{
    const bool bSentAway = nCode == ErrCode::TRY_LATER;
    const unsigned long nSentAway = bSentAway ? m_SentAway.Count() : 0;
    if (bSentAway && nSentAway == 0) return;
    const std::string more =
        bSentAway ? "; " + std::to_string(nSentAway) + " logins sent away since the last such line" : "";
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "the request fails with code 0x%08X: %s%s", nCode,
                 detail.c_str(), more.c_str());
}

Failure Dispatcher::Unforeseen(const std::exception& cause)
{
    return Refused(ErrCode::INTERNAL, cause.what());
}

}  // namespace northbound
