#include "server/operations/secrets.h"

#include <algorithm>
#include <cstddef>

#include "nbihost/standalone.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/securebuffer.h"
#include "nbiutil/user.h"
#include "server/serving/failure.h"
#include "server/serving/timetext.h"
#include "server/serving/usersessions.h"
#include "shared/ciphertext.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "secrets";

/// \param[out] secret what \p cipher hides
void Decrypt(NS_UTIL::AutoReleaseString& secret, const std::string& cipher)
{
    const std::string fault = CipherTextFault(cipher);
    if (!fault.empty()) ThrowFailure(ErrCode::BAD_CIPHER_TEXT, MODULE, fault);
    const int nDone = NS_UTIL::LocalRsaKeyMgr::Instance()->DecryptByLocalRsaKey(
        secret, cipher.data(), static_cast<long>(cipher.size()));
    if (nDone != 1) {
        ThrowFailure(ErrCode::NOT_DECRYPTED, MODULE, "the server's private key does not open the secret");
    }
    if (secret.length() == 0) ThrowFailure(ErrCode::BAD_ARGUMENT, MODULE, "the secret is empty");
}

}  // namespace

PublicKey::Result PublicKey::Run(const Request& /*request*/, const Caller& /*caller*/) const
{
    NS_UTIL::LocalRsaKeyMgr& keys = *NS_UTIL::LocalRsaKeyMgr::Instance();
    const auto nLength = static_cast<std::size_t>(keys.GetLocalRsaPublicKeyLen());
    return {std::string(reinterpret_cast<const char*>(keys.GetLocalRsaPublicKey()), nLength)};
}

SendSecret::Result SendSecret::Run(const Request& request, const Caller& /*caller*/) const
{
    NS_UTIL::AutoReleaseString secret;
    Decrypt(secret, request.m_Cipher);
    // A server with something to unlock hands the secret on from here, without a copy that nobody wipes.
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "a secret was decrypted");
    return {secret.length()};
}

Login::Result Login::Run(const Request& request, const Caller& caller) const
{
    LoginGate::Passage passage(m_Gate, HostOf(caller.m_Address));
    NS_UTIL::AutoReleaseString secret;
    Decrypt(secret, request.m_Cipher);
    const std::size_t nChallenge = std::min<std::size_t>(secret.length(), LOGIN_CHALLENGE);
    passage.Redeem(std::string(secret.getBuffer(), nChallenge));
    NS_UTIL::UserPara user(caller.m_User, TimeText(), "", "", caller.m_Address);
    std::string password(secret.getBuffer() + nChallenge, secret.length() - nChallenge);
    user.SetPwd(password);
    NS_UTIL::PwdCtrlString::ClearStr(password);
    const std::string key = m_Sessions.Open(user);
    passage.Succeed();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "logged in from %s", user.GetIPAndPort().c_str());
    return {key};
}

Logout::Result Logout::Run(const Request& /*request*/, const Caller& caller) const
{
    if (!m_Sessions.Close(caller)) ThrowFailure(ErrCode::NOT_LOGGED_IN, MODULE, "there is no such session");
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "logged out");
    return {};
}

}  // namespace northbound
