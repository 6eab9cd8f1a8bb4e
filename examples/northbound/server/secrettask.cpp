#include "secrettask.h"

#include <utility>

#include "ciphertext.h"
#include "failure.h"
#include "names.h"
#include "nbihost/standalone.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/securebuffer.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "secrettask";

}  // namespace

SecretTask::SecretTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, std::string cipher,
                       std::shared_ptr<unsigned int> pAnswer)
    : RequestTask(agent, descriptor), m_Cipher(std::move(cipher)), m_pAnswer(std::move(pAnswer))
{
}

void SecretTask::Work()
{
    const std::string fault = CipherTextFault(m_Cipher);
    if (!fault.empty()) Fail(ErrCode::BAD_CIPHER_TEXT, MODULE, fault);
    NS_UTIL::AutoReleaseString secret;
    const int nDone = NS_UTIL::LocalRsaKeyMgr::Instance()->DecryptByLocalRsaKey(
        secret, m_Cipher.data(), static_cast<long>(m_Cipher.size()));
    if (nDone != 1) Fail(ErrCode::NOT_DECRYPTED, MODULE, "the server's private key does not open the secret");
    if (secret.length() == 0) Fail(ErrCode::BAD_ARGUMENT, MODULE, "the secret is empty");
    // A server with something to unlock hands the secret on from here, without a copy that nobody wipes.
    *m_pAnswer = secret.length();
    nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "a secret was decrypted");
}

}  // namespace northbound
