/// \file
/// Who has logged in.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "nbiutil/user.h"

namespace northbound {

/// The users that have logged in: name (first text), time (second text), and address of the client. A record
/// holds a password while it is checked, and none afterwards. Threads: any.
class UserSessions {
public:
    /// Checks the password against the host's configuration item "Password_<name>", wipes it, and notes the
    /// user. A second login of a user replaces the first.
    /// \throws ProcessException NOT_LOGGED_IN when there is no such item or the password is another; which of
    ///         the two is not told.
    void Open(NS_UTIL::UserPara& user);

    /// \throws ProcessException NOT_LOGGED_IN when the item RequireLogin is 1 and \p name has not logged in.
    void CheckAllowed(const std::string& name) const;

    /// By name.
    std::vector<NS_UTIL::UserPara> List() const;

private:
    mutable std::mutex m_Mutex;
    std::map<std::string, NS_UTIL::UserPara> m_Users;  // guarded by m_Mutex; without passwords
};

}  // namespace northbound
