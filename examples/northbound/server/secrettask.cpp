#include "secrettask.h"

#include <utility>

#include "ciphertext.h"
#include "failure.h"
#include "names.h"
#include "nbihost/standalone.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/securebuffer.h"
#include "perffile.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "secrettask";

/// \param[out] secret what \p cipher hides
void Decrypt(NS_UTIL::AutoReleaseString& secret, const std::string& cipher)
{
    const std::string fault = CipherTextFault(cipher);
    if (!fault.empty()) Fail(ErrCode::BAD_CIPHER_TEXT, MODULE, fault);
    const int nDone = NS_UTIL::LocalRsaKeyMgr::Instance()->DecryptByLocalRsaKey(
        secret, cipher.data(), static_cast<long>(cipher.size()));
    if (nDone != 1) Fail(ErrCode::NOT_DECRYPTED, MODULE, "the server's private key does not open the secret");
    if (secret.length() == 0) Fail(ErrCode::BAD_ARGUMENT, MODULE, "the secret is empty");
}

}  // namespace

SecretTask::SecretTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, std::string cipher,
                       std::shared_ptr<unsigned int> pAnswer)
    : RequestTask(agent, descriptor), m_Cipher(std::move(cipher)), m_pAnswer(std::move(pAnswer))
{
}

void SecretTask::Work()
{
    NS_UTIL::AutoReleaseString secret;
    Decrypt(secret, m_Cipher);
    // A server with something to unlock hands the secret on from here, without a copy that nobody wipes.
    *m_pAnswer = secret.length();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "a secret was decrypted");
}

LoginTask::LoginTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, UserSessions& sessions,
                     std::string cipher, std::string address)
    : RequestTask(agent, descriptor),
      m_Sessions(sessions),
      m_Cipher(std::move(cipher)),
      m_Address(std::move(address))
{
}

void LoginTask::Work()
{
    NS_UTIL::AutoReleaseString secret;
    Decrypt(secret, m_Cipher);
    NS_UTIL::UserPara user(GetThreadInfo().GetUserInfo(), TimeText(), "", "", m_Address);
    std::string password(secret.getBuffer(), secret.length());
    user.SetPwd(password);
    NS_UTIL::PwdCtrlString::ClearStr(password);
    m_Sessions.Open(user);
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "logged in from %s", user.GetIPAndPort().c_str());
}

}  // namespace northbound
