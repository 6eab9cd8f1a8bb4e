/// \file
/// Who has logged in, and what each caller may do.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "nbiutil/user.h"
#include "server/serving/operation.h"

namespace northbound {

/// How long a session lasts.
struct SessionLimits {
    std::chrono::seconds m_Idle{15 * 60};  // without a request
    std::chrono::seconds m_Life{12 * 60 * 60};
};

/// A user that has logged in: name (first text), time (second text), and address of the client. It holds a password
/// while that is checked, and none afterwards.
struct UserSession {
    NS_UTIL::UserPara m_User;
    Role m_Role = Role::NONE;
    std::chrono::steady_clock::time_point m_Opened;
    std::chrono::steady_clock::time_point m_LastUsed;
};

/// The sessions, each under a key of 128 random bits that the requests of its user carry. A network without TLS does
/// not hide a key, so there it counts only from the address that logged in. Threads: any.
class UserSessions {
public:
    using Clock = std::chrono::steady_clock;

    /// A further login of a user with so many sessions ends the oldest of them.
    static constexpr std::size_t MAX_PER_USER = 8;

    /// \param anonymous the role of a caller from the network that carries no key
    explicit UserSessions(Role anonymous, std::function<Clock::time_point()> now = Clock::now);

    /// Sessions that are open are held to \p limits, too.
    void SetLimits(const SessionLimits& limits);

    /// Checks the password against the host's configuration item "Password_<name>", wipes it, and opens a session with
    /// the role that "Role_<name>" says: READER where it says nothing, NONE where it says something else.
    /// \return the session's key, 32 hexadecimal digits
    /// \throws ProcessException NOT_LOGGED_IN when there is no such item or the password is another; which of
    ///         the two is not told.
    std::string Open(NS_UTIL::UserPara& user);

    /// \return false when \p caller has no session
    bool Close(const Caller& caller);

    /// \p caller with the user and the role that the server gives it: ADMIN to whoever came through the way of the
    /// server's own user, those of its session to whoever carries a key, and no role when the session is over. It counts
    /// as the session's use.
    Caller Identified(Caller caller);

    /// By name, then by time.
    std::vector<UserSession> List();

private:
    using Sessions = std::map<std::string, UserSession>;

    Sessions::iterator FindLocked(const Caller& caller);
    bool IsOverLocked(const UserSession& session) const;
    void SweepLocked();
    void MakeRoomLocked(const std::string& name);

    const Role m_Anonymous;
    const std::function<Clock::time_point()> m_Now;
    std::mutex m_Mutex;
    SessionLimits m_Limits;  // guarded by m_Mutex
    Sessions m_Sessions;     // by the digests of their keys; guarded by m_Mutex
};

}  // namespace northbound
