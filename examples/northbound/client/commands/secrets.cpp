#include "client/commands/secrets.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <iostream>
#include <iterator>
#include <memory>

#include "client/texts/texts.h"
#include "client/view/json.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/securebuffer.h"
#include "shared/ciphertext.h"
#include "shared/descriptor.h"
#include "shared/names.h"

namespace northbound {
namespace {

using NS_UTIL::AutoReleaseString;

[[noreturn]] void Refuse(unsigned int nCode, const std::string& detail)
{
    throw Northbound::OperationFailed(nCode, detail.c_str());
}

/// PKCS#1 in DER as a SubjectPublicKeyInfo in PEM, which every tool on OpenSSL takes; "" for what is no key.
std::string ToPem(const Northbound::Bytes& der)
{
    const unsigned char* pNext = der.get_buffer();
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pKey(
        d2i_PublicKey(EVP_PKEY_RSA, nullptr, &pNext, der.length()), &EVP_PKEY_free);
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> pText(BIO_new(BIO_s_mem()), &BIO_free_all);
    if (pKey == nullptr || PEM_write_bio_PUBKEY(pText.get(), pKey.get()) != 1) return "";
    char* pBytes = nullptr;
    const long nLength = BIO_get_mem_data(pText.get(), &pBytes);
    return std::string(pBytes, static_cast<std::size_t>(nLength));
}

/// The file to read from, standard input included.
class Input {
public:
    explicit Input(const std::string& path)
        : m_Name(path == "-" ? Say("standard input") : path),
          m_Opened(path == "-" ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC)),
          m_nFile(path == "-" ? STDIN_FILENO : m_Opened.Number())
    {
        if (m_nFile < 0) Fail();
    }

    bool IsTerminal() const { return isatty(m_nFile) != 0; }
    int File() const { return m_nFile; }

    /// Fills \p pBuffer, as far as there is something.
    std::size_t Read(char* pBuffer, std::size_t nRoom) const
    {
        std::size_t nRead = 0;
        while (nRead < nRoom) {
            const ssize_t nBytes = read(m_nFile, pBuffer + nRead, nRoom - nRead);
            if (nBytes < 0 && errno != EINTR) Fail();
            if (nBytes == 0) break;
            nRead += static_cast<std::size_t>(std::max<ssize_t>(nBytes, 0));
            if (IsTerminal() && nRead > 0 && pBuffer[nRead - 1] == '\n') break;
        }
        return nRead;
    }

private:
    [[noreturn]] void Fail() const
    {
        throw InputError(Say("{1} cannot be read: {2}", {m_Name, strerror(errno)}));
    }

    const std::string m_Name;
    const Descriptor m_Opened;
    const int m_nFile;
};

/// A terminal that does not show what is typed. Whatever is no terminal stays as it is.
class Unseen {
public:
    explicit Unseen(const Input& input) : m_Input(input)
    {
        if (tcgetattr(m_Input.File(), &m_Before) != 0) return;
        termios unseen = m_Before;
        unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        m_bHidden = tcsetattr(m_Input.File(), TCSAFLUSH, &unseen) == 0;
        std::cerr << Say("Secret:") << ' ' << std::flush;  // now that nothing typed is shown
    }
    ~Unseen()
    {
        if (!m_bHidden) return;
        tcsetattr(m_Input.File(), TCSAFLUSH, &m_Before);
        std::cerr << '\n';
    }
    Unseen(const Unseen&) = delete;
    Unseen& operator=(const Unseen&) = delete;

private:
    const Input& m_Input;
    termios m_Before{};
    bool m_bHidden = false;
};

std::string ReadCipherText(const std::string& path)
{
    constexpr std::size_t ENOUGH = 65536;  // whatever the layout: a block has KEY_BYTES
    std::string text(ENOUGH, '\0');
    text.resize(Input(path).Read(text.data(), text.size()));
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c) != 0; }),
               text.end());
    return text;
}

/// Room for the longest secret, its line break and what shows that there is more. Wiped when it goes; input
/// streams keep copies that nobody wipes.
struct SecretRoom {
    SecretRoom() = default;
    ~SecretRoom() { explicit_bzero(m_Bytes, sizeof(m_Bytes)); }
    SecretRoom(const SecretRoom&) = delete;
    SecretRoom& operator=(const SecretRoom&) = delete;

    char m_Bytes[MAX_SECRET + 2];
};

std::string ToHex(const char* pBytes, long nLength)
{
    constexpr const char* DIGITS = "0123456789abcdef";
    std::string text;
    for (long i = 0; i < nLength; ++i) {
        const auto nByte = static_cast<unsigned char>(pBytes[i]);
        text += DIGITS[nByte >> 4U];
        text += DIGITS[nByte & 15U];
    }
    return text;
}

std::string Encrypted(const AutoReleaseString& secret, const Northbound::Bytes& key)
{
    char* pEncrypted = nullptr;
    long nLength = secret.length();
    NS_UTIL::RsaAlgorithm::Encrypt(pEncrypted, secret.getBuffer(), nLength,
                                   reinterpret_cast<const char*>(key.get_buffer()),
                                   static_cast<int>(key.length()));
    const std::unique_ptr<char[]> pCipher(pEncrypted);
    if (pCipher == nullptr) Refuse(ErrCode::INTERNAL, Say("the server's public key cannot be used"));
    return ToHex(pCipher.get(), nLength);
}

}  // namespace

void ReadSecret(AutoReleaseString& secret, const std::string& path)
{
    const Input input(path);
    const Unseen unseen(input);
    SecretRoom room;
    std::size_t nLength = input.Read(room.m_Bytes, sizeof(room.m_Bytes));
    if (nLength > 0 && room.m_Bytes[nLength - 1] == '\n') --nLength;
    if (nLength == 0) Refuse(ErrCode::BAD_ARGUMENT, Say("the secret is empty"));
    if (nLength > MAX_SECRET) {
        Refuse(ErrCode::BAD_ARGUMENT,
               Say("the secret is longer than {1} bytes", {std::to_string(MAX_SECRET)}));
    }
    if (secret.setBuffer(room.m_Bytes, static_cast<unsigned int>(nLength)) != 0) {
        Refuse(ErrCode::INTERNAL, Say("the secret cannot be copied"));
    }
}

std::string EncryptedSecret(const Session& session, const std::string& path)
{
    const Northbound::Bytes_var key = session.Server()->PublicKey(session.Who());
    AutoReleaseString secret;
    ReadSecret(secret, path);
    return Encrypted(secret, key.in());
}

std::string EncryptedLogin(const Session& session, const std::string& path)
{
    AutoReleaseString password;
    ReadSecret(password, path);
    if (password.length() > MAX_PASSWORD) {
        Refuse(ErrCode::BAD_ARGUMENT,
               Say("the password is longer than {1} bytes", {std::to_string(MAX_PASSWORD)}));
    }
    const Northbound::Bytes_var key = session.Server()->PublicKey(session.Who());
    const CORBA::String_var challenge = session.Server()->Challenge(session.Who());
    const std::size_t nChallenge = std::min<std::size_t>(strlen(challenge.in()), LOGIN_CHALLENGE);
    SecretRoom room;
    memcpy(room.m_Bytes, challenge.in(), nChallenge);
    memcpy(room.m_Bytes + nChallenge, password.getBuffer(), password.length());
    AutoReleaseString both;
    if (both.setBuffer(room.m_Bytes, static_cast<unsigned int>(nChallenge + password.length())) != 0) {
        Refuse(ErrCode::INTERNAL, Say("the password cannot be copied"));
    }
    return Encrypted(both, key.in());
}

int ShowPublicKey(const Session& session, const OutputOptions& output)
{
    const Northbound::Bytes_var key = session.Read(
        [](Northbound::Manager_ptr server, const Northbound::Caller& who) { return server->PublicKey(who); });
    const std::string pem = ToPem(key.in());
    if (pem.empty()) Refuse(ErrCode::INTERNAL, Say("the server's public key cannot be used"));
    std::cout << (output.m_bJson ? JsonObject().Text("pem", pem).Done() + "\n" : pem);
    return EXIT_DONE;
}

int SendSecret(const Session& session, const OutputOptions& output, const SecretOptions& options)
{
    session.Settle();
    const std::string cipher =
        options.m_bEncrypt ? EncryptedSecret(session, options.m_File) : ReadCipherText(options.m_File);
    const std::string fault = CipherTextFault(cipher);
    if (!fault.empty()) Refuse(ErrCode::BAD_CIPHER_TEXT, Translated(fault));
    const CORBA::ULong nBytes = session.Server()->SendSecret(session.Who(), cipher.c_str());
    return ReportDone(output, JsonObject().Number("bytes", nBytes).Done(),
                      Say("the server has decrypted a secret of {1} bytes", {std::to_string(nBytes)}));
}

}  // namespace northbound
