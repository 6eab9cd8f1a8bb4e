/// \file
/// The tasks that take in secrets.
#pragma once

#include <memory>
#include <string>

#include "requesttask.h"
#include "usersessions.h"

namespace northbound {

/// Decrypts a secret with the private key of this process. The plain secret lives while the task works, in
/// buffers that are wiped, and nothing of it but its length gets into an answer or the log.
class SecretTask : public RequestTask {
public:
    /// \param cipher  hexadecimal text
    /// \param pAnswer bytes of the secret, once the task is done
    SecretTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, std::string cipher,
               std::shared_ptr<unsigned int> pAnswer);

private:
    /// \throws ProcessException BAD_CIPHER_TEXT, NOT_DECRYPTED, or BAD_ARGUMENT for an empty secret.
    void Work() override;

    std::string m_Cipher;
    std::shared_ptr<unsigned int> m_pAnswer;
};

/// Logs the caller in with a password that comes encrypted like a secret. The plain password lives while it
/// is checked.
class LoginTask : public RequestTask {
public:
    /// \param address "<address>:<port>" of the client
    LoginTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, UserSessions& sessions, std::string cipher,
              std::string address);

private:
    /// \throws ProcessException as SecretTask, and NOT_LOGGED_IN.
    void Work() override;

    UserSessions& m_Sessions;
    std::string m_Cipher;
    std::string m_Address;
};

}  // namespace northbound
