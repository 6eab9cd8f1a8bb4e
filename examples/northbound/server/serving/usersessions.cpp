#include "server/serving/usersessions.h"

#include <openssl/crypto.h>

#include "nbiutil/selfutilcommon.h"
#include "server/serving/failure.h"
#include "shared/names.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "usersessions";

/// Takes as long for a user that does not exist.
bool IsPasswordRight(const NS_UTIL::UserPara& user)
{
    const std::string& password = user.GetPwd();
    const std::string digest = PasswordDigest(user.GetFirstText(), password.data(), password.size());
    std::string wanted;
    NS_UTIL::SelfUtilCommon::Instance()->GetSupportCfgItem("Password_" + user.GetFirstText(), wanted);
    return wanted.size() == digest.size() && CRYPTO_memcmp(wanted.data(), digest.data(), digest.size()) == 0;
}

}  // namespace

void UserSessions::Open(NS_UTIL::UserPara& user)
{
    const bool bRight = IsPasswordRight(user);
    user.ClearPwd();
    if (!bRight) {
        ThrowFailure(ErrCode::NOT_LOGGED_IN, MODULE, "the server does not know this user with this password");
    }
    const std::lock_guard<std::mutex> guard(m_Mutex);
    m_Users[user.GetFirstText()] = user;
}

Role UserSessions::RoleOf(const Caller& caller) const
{
    if (caller.m_bLocal) return Role::ADMIN;
    const std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Users.count(caller.m_User) == 0 ? m_Anonymous : Role::ADMIN;
}

std::vector<NS_UTIL::UserPara> UserSessions::List() const
{
    const std::lock_guard<std::mutex> guard(m_Mutex);
    std::vector<NS_UTIL::UserPara> users;
    for (const auto& entry : m_Users) users.push_back(entry.second);
    return users;
}

}  // namespace northbound
