#include "server/serving/usersessions.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <tuple>
#include <utility>

#include "nbiutil/conversions.h"
#include "nbiutil/selfutilcommon.h"
#include "server/serving/failure.h"
#include "server/serving/randombytes.h"
#include "shared/names.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "usersessions";

using Guard = std::lock_guard<std::mutex>;

std::string ItemOf(const std::string& name)
{
    std::string value;
    NS_UTIL::SelfUtilCommon::Instance()->GetSupportCfgItem(name, value);
    return value;
}

/// Takes as long for a user that does not exist.
bool IsPasswordRight(const NS_UTIL::UserPara& user)
{
    const std::string& password = user.GetPwd();
    const std::string digest = PasswordDigest(user.GetFirstText(), password.data(), password.size());
    const std::string wanted = ItemOf("Password_" + user.GetFirstText());
    return wanted.size() == digest.size() && CRYPTO_memcmp(wanted.data(), digest.data(), digest.size()) == 0;
}

Role RoleOf(const std::string& name)
{
    const std::string role = ItemOf("Role_" + name);
    return role.empty() ? Role::READER : RoleNamed(role).value_or(Role::NONE);
}

std::string NewKey()
{
    std::array<unsigned char, 16> bytes{};
    FillRandomly(bytes.data(), bytes.size(), MODULE);
    return NS_UTIL::ByteToHex(bytes.data(), static_cast<int>(bytes.size()));
}

/// Keys are kept and looked for as digests: neither memory nor the time of a search tells one.
std::string DigestOf(const std::string& key)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int nLength = 0;
    if (EVP_Digest(key.data(), key.size(), digest.data(), &nLength, EVP_sha256(), nullptr) != 1) {
        ThrowFailure(ErrCode::INTERNAL, MODULE, "a key's digest cannot be computed");
    }
    return std::string(reinterpret_cast<const char*>(digest.data()), nLength);
}

}  // namespace

UserSessions::UserSessions(Role anonymous, std::function<Clock::time_point()> now)
    : m_Anonymous(anonymous), m_Now(std::move(now))
{
}

void UserSessions::SetLimits(const SessionLimits& limits)
{
    const Guard guard(m_Mutex);
    m_Limits = limits;
}

std::string UserSessions::Open(NS_UTIL::UserPara& user)
{
    const bool bRight = IsPasswordRight(user);
    user.ClearPwd();
    if (!bRight) {
        ThrowFailure(ErrCode::NOT_LOGGED_IN, MODULE, "the server does not know this user with this password");
    }
    std::string key = NewKey();
    const Clock::time_point now = m_Now();
    const UserSession session{user, RoleOf(user.GetFirstText()), now, now};
    const Guard guard(m_Mutex);
    SweepLocked();
    MakeRoomLocked(user.GetFirstText());
    m_Sessions[DigestOf(key)] = session;
    return key;
}

bool UserSessions::Close(const Caller& caller)
{
    const Guard guard(m_Mutex);
    const auto found = FindLocked(caller);
    if (found == m_Sessions.end()) return false;
    m_Sessions.erase(found);
    return true;
}

Caller UserSessions::Identified(Caller caller)
{
    if (caller.m_bLocal || caller.m_Key.empty()) {
        caller.m_Role = caller.m_bLocal ? Role::ADMIN : m_Anonymous;
        return caller;
    }
    const Guard guard(m_Mutex);
    const auto found = FindLocked(caller);
    if (found == m_Sessions.end()) {
        caller.m_Role = Role::NONE;
        return caller;
    }
    UserSession& session = found->second;
    session.m_LastUsed = m_Now();
    caller.m_User = session.m_User.GetFirstText();
    caller.m_Role = session.m_Role;
    return caller;
}

std::vector<UserSession> UserSessions::List()
{
    const Guard guard(m_Mutex);
    SweepLocked();
    std::vector<UserSession> sessions;
    for (const auto& entry : m_Sessions) sessions.push_back(entry.second);
    std::sort(sessions.begin(), sessions.end(), [](const UserSession& a, const UserSession& b) {
        return std::make_tuple(a.m_User.GetFirstText(), a.m_Opened) <
               std::make_tuple(b.m_User.GetFirstText(), b.m_Opened);
    });
    return sessions;
}

UserSessions::Sessions::iterator UserSessions::FindLocked(const Caller& caller)
{
    const auto found = m_Sessions.find(DigestOf(caller.m_Key));
    if (found == m_Sessions.end() || IsOverLocked(found->second)) return m_Sessions.end();
    const bool bSameHost = HostOf(found->second.m_User.GetIPAndPort()) == HostOf(caller.m_Address);
    return caller.m_bEncrypted || bSameHost ? found : m_Sessions.end();
}

bool UserSessions::IsOverLocked(const UserSession& session) const
{
    const Clock::time_point now = m_Now();
    return now - session.m_LastUsed > m_Limits.m_Idle || now - session.m_Opened > m_Limits.m_Life;
}

void UserSessions::SweepLocked()
{
    for (auto at = m_Sessions.begin(); at != m_Sessions.end();) {
        at = IsOverLocked(at->second) ? m_Sessions.erase(at) : std::next(at);
    }
}

void UserSessions::MakeRoomLocked(const std::string& name)
{
    std::size_t nCount = 0;
    auto oldest = m_Sessions.end();
    for (auto at = m_Sessions.begin(); at != m_Sessions.end(); ++at) {
        if (at->second.m_User.GetFirstText() != name) continue;
        ++nCount;
        if (oldest == m_Sessions.end() || at->second.m_Opened < oldest->second.m_Opened) oldest = at;
    }
    if (nCount >= MAX_PER_USER) m_Sessions.erase(oldest);
}

}  // namespace northbound
