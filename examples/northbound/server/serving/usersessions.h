/// \file
/// Who has logged in.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "nbiutil/user.h"
#include "server/serving/operation.h"

namespace northbound {

/// The users that have logged in: name (first text), time (second text), and address of the client. A record
/// holds a password while it is checked, and none afterwards. Threads: any.
class UserSessions {
public:
    /// \param anonymous the role of a caller from the network that has not logged in
    explicit UserSessions(Role anonymous) : m_Anonymous(anonymous) {}

    /// Checks the password against the host's configuration item "Password_<name>", wipes it, and notes the
    /// user. A second login of a user replaces the first.
    /// \throws ProcessException NOT_LOGGED_IN when there is no such item or the password is another; which of
    ///         the two is not told.
    void Open(NS_UTIL::UserPara& user);

    /// Whoever came through the way of the server's own user is ADMIN, as is who has logged in.
    Role RoleOf(const Caller& caller) const;

    /// By name.
    std::vector<NS_UTIL::UserPara> List() const;

private:
    const Role m_Anonymous;
    mutable std::mutex m_Mutex;
    std::map<std::string, NS_UTIL::UserPara> m_Users;  // guarded by m_Mutex; without passwords
};

}  // namespace northbound
