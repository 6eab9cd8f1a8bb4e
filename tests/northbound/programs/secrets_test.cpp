// Secrets on their way to the server, as people send them: with the openssl program and with the client
// alone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <pty.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "client/corba/session.h"
#include "northbound/programs/processmemory.h"
#include "northbound/programs/programs.h"
#include "shared/names.h"

namespace northbound {
namespace {

const std::string SECRET = "open sesame 4711, and no forty thieves";
const std::string UNDERSTOOD =
    "the server has decrypted a secret of " + std::to_string(SECRET.size()) + " bytes\n";

std::string RefusalText(const char* pCode, const std::string& detail, const std::string& reason)
{
    return "nbi-client: failed with code " + std::string(pCode) + ": " + detail + "\n  reason: " + reason +
           "\n";
}

std::string OutOfRange(const std::string& detail)
{
    return RefusalText("0x4E420002", detail, "An argument is outside its range.");
}

std::string BadCipherText(const std::string& detail)
{
    return RefusalText("0x4E420008", detail,
                       "The text of the encrypted secret is not what the server's key wants.");
}

const std::string NOT_DECRYPTED = RefusalText(
    "0x4E420009", "the server's private key does not open the secret",
    "The secret could not be decrypted. It was damaged, or encrypted with another key or padding.");

class SecretsTest : public ::testing::Test {
protected:
    /// Runs \p script in a folder with the secret in the file "secret" and the public key in "key.pem". It
    /// has the commands client, encrypt (standard input with the key; more arguments for openssl) and hex.
    Outcome Shell(const std::string& script) const
    {
        WriteFile(m_Folder.Path() + "/secret", SECRET);
        const std::string commands = "set -e\ncd '" + m_Folder.Path() +
                                     "'\n"
                                     "client() { '" NBI_CLIENT "' --server " +
                                     m_Server.Address() +
                                     " \"$@\"; }\n"
                                     "encrypt() { openssl pkeyutl -encrypt -pubin -inkey key.pem -pkeyopt "
                                     "rsa_padding_mode:oaep \"$@\"; }\n"
                                     "hex() { od -An -v -tx1 | tr -d ' \\n'; }\n"
                                     "[ -e key.pem ] || client pubkey >key.pem\n" +
                                     script;
        Program shell(m_Folder.Path(), "shell", {"/bin/sh", "-c", commands});
        const int nExitCode = shell.Wait();
        return Outcome{nExitCode, shell.StandardOutput(), shell.StandardError()};
    }

    void ExpectUnderstood(const std::string& script) const
    {
        const Outcome outcome = Shell(script);
        EXPECT_EQ(outcome.m_nExitCode, 0) << script;
        EXPECT_EQ(outcome.m_Output, UNDERSTOOD) << script;
        EXPECT_EQ(outcome.m_Error, "") << script;
    }

    void ExpectRefused(const std::string& script, const std::string& error) const
    {
        const Outcome outcome = Shell(script);
        EXPECT_EQ(outcome.m_nExitCode, 1) << script;
        EXPECT_EQ(outcome.m_Output, "") << script;
        EXPECT_EQ(outcome.m_Error, error) << script;
    }

    TestDirectory m_Folder;
    Server m_Server{"", Way::TCP, KeyPair::OWN};
};

TEST_F(SecretsTest, PublicKeyIsPemThatOpensslReads)
{
    const Outcome outcome = Shell("cat key.pem; openssl pkey -pubin -in key.pem -noout -text");
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(outcome.m_Output.find("-----BEGIN PUBLIC KEY-----\n"), 0u) << outcome.m_Output;
    EXPECT_NE(outcome.m_Output.find("(2048 bit)"), std::string::npos);
    EXPECT_NE(outcome.m_Output.find("Exponent: 65537 "), std::string::npos);
}

TEST_F(SecretsTest, PublicKeyStaysTheSameUntilTheServerEnds)
{
    const Outcome outcome = Shell("client pubkey | cmp - key.pem");
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Output << outcome.m_Error;
    const Server other;
    EXPECT_NE(RunClient({"--server", other.Address(), "pubkey"}).m_Output,
              ReadFile(m_Folder.Path() + "/key.pem"));
}

TEST_F(SecretsTest, PublicKeyIsOneLineOfJsonToo)
{
    const Outcome outcome = Shell("client --json pubkey");
    EXPECT_EQ(outcome.m_Output.find("{\"pem\":\"-----BEGIN PUBLIC KEY-----\\n"), 0u) << outcome.m_Output;
}

TEST_F(SecretsTest, HexadecimalTextIsTakenFromAFileOrStandardInputInBothLetterCases)
{
    ExpectUnderstood("encrypt <secret | hex >text; client send-secret text");
    ExpectUnderstood("encrypt <secret | hex | client send-secret");
    ExpectUnderstood("encrypt <secret | hex | tr a-f A-F | client send-secret -");
}

TEST_F(SecretsTest, LayoutOfTheHexadecimalTextDoesNotCount)
{
    ExpectUnderstood("encrypt <secret | od -An -v -tx1 | client send-secret");
    ExpectUnderstood("encrypt <secret | hex | sed 's/$/\\r/' | client send-secret");
}

TEST_F(SecretsTest, ClientEncryptsASecretItself)
{
    ExpectUnderstood("client send-secret --encrypt secret");
    ExpectUnderstood("client send-secret -e <secret");
    ExpectUnderstood("{ cat secret; echo; } | client send-secret -e");
}

TEST_F(SecretsTest, AnswerIsJsonToo)
{
    EXPECT_EQ(Shell("client --json send-secret -e secret").m_Output,
              "{\"bytes\":" + std::to_string(SECRET.size()) + "}\n");
}

TEST_F(SecretsTest, SecretMayHaveAsManyBytesAsTheKeyTakesAndAnyValues)
{
    const Outcome longest = Shell("head -c 214 /dev/zero | client send-secret -e");
    EXPECT_EQ(longest.m_Output, "the server has decrypted a secret of 214 bytes\n") << longest.m_Error;
    EXPECT_EQ(Shell("head -c 214 /dev/zero | encrypt | hex | client send-secret").m_Output, longest.m_Output);
    ExpectRefused("head -c 215 /dev/zero | client send-secret -e",
                  OutOfRange("the secret is longer than 214 bytes"));
    ExpectRefused("client send-secret -e /dev/zero", OutOfRange("the secret is longer than 214 bytes"));
}

TEST_F(SecretsTest, EmptySecretIsRefused)
{
    ExpectRefused("client send-secret -e </dev/null", OutOfRange("the secret is empty"));
    ExpectRefused("echo | client send-secret -e", OutOfRange("the secret is empty"));
    ExpectRefused("encrypt </dev/null | hex | client send-secret", OutOfRange("the secret is empty"));
}

TEST_F(SecretsTest, TextThatIsNotOneBlockInHexadecimalIsRefused)
{
    ExpectRefused("client send-secret </dev/null", BadCipherText("0 hexadecimal digits instead of 512"));
    ExpectRefused("encrypt <secret | hex | cut -c2- | client send-secret",
                  BadCipherText("511 hexadecimal digits instead of 512"));
    ExpectRefused("{ encrypt <secret | hex; echo 00; } | client send-secret",
                  BadCipherText("514 hexadecimal digits instead of 512"));
    ExpectRefused("echo 12x4 | client send-secret", BadCipherText("character 3 is no hexadecimal digit"));
    ExpectRefused("client send-secret /dev/zero", BadCipherText("character 1 is no hexadecimal digit"));
}

TEST_F(SecretsTest, CorruptedTextOtherPaddingAndOtherKeysAreRefused)
{
    ExpectRefused("encrypt <secret | hex | tr 0123456789 1234567890 | sed 's/^./0/' | client send-secret",
                  NOT_DECRYPTED);
    ExpectRefused("encrypt -pkeyopt rsa_oaep_md:sha256 <secret | hex | client send-secret", NOT_DECRYPTED);
    ExpectRefused(
        "openssl pkeyutl -encrypt -pubin -inkey key.pem -pkeyopt rsa_padding_mode:pkcs1 -in secret | hex |"
        " client send-secret",
        NOT_DECRYPTED);
    ExpectRefused(
        "openssl genpkey -quiet -algorithm RSA -pkeyopt rsa_keygen_bits:2048 2>/dev/null | openssl pkey "
        "-pubout >key.pem\n"
        "encrypt <secret | hex | sed 's/^./0/' | client send-secret",
        NOT_DECRYPTED);
}

TEST_F(SecretsTest, FileThatCannotBeReadIsNamed)
{
    const Outcome text = Shell("client send-secret nowhere");
    EXPECT_EQ(text.m_nExitCode, 2);
    EXPECT_EQ(text.m_Error, "nbi-client: nowhere cannot be read: No such file or directory\n");
    const Outcome json = Shell("client --json send-secret -e /");
    EXPECT_EQ(json.m_nExitCode, 2);
    EXPECT_NE(json.m_Output.find("\"kind\":\"input\",\"exit\":2,"), std::string::npos) << json.m_Output;
    EXPECT_NE(json.m_Output.find("\"detail\":\"/ cannot be read: Is a directory\""), std::string::npos);
}

TEST_F(SecretsTest, SecretIsNoArgument)
{
    EXPECT_EQ(RunClient({"send-secret", "--encrypt", "file", "more"}).m_nExitCode, 2);
}

/// The client looks at the text before it sends it; others may not.
TEST_F(SecretsTest, ServerChecksTheTextItself)
{
    const Session session(m_Server.Address(), "alice");
    const auto codeOf = [&session](const std::string& cipher) {
        try {
            session.Server()->SendSecret(session.Who(), cipher.c_str());
        } catch (const Northbound::OperationFailed& e) {
            return static_cast<unsigned int>(e.code);
        }
        return 0u;
    };
    EXPECT_EQ(codeOf(""), ErrCode::BAD_CIPHER_TEXT);
    EXPECT_EQ(codeOf(std::string(511, '0')), ErrCode::BAD_CIPHER_TEXT);
    EXPECT_EQ(codeOf(std::string(1024, '0')), ErrCode::BAD_CIPHER_TEXT);
    EXPECT_EQ(codeOf(std::string(512, 'g')), ErrCode::BAD_CIPHER_TEXT);
    EXPECT_EQ(codeOf(std::string(256, 'x')), ErrCode::BAD_CIPHER_TEXT);
    EXPECT_EQ(codeOf(std::string(512, '0')), ErrCode::NOT_DECRYPTED);
}

TEST_F(SecretsTest, NothingSecretIsInTheLog)
{
    ExpectUnderstood("encrypt <secret | hex | client send-secret");
    ExpectUnderstood("client send-secret -e secret");
    ExpectRefused("encrypt -pkeyopt rsa_oaep_md:sha256 <secret | hex >text; client send-secret text",
                  NOT_DECRYPTED);
    const std::string log = ReadFile(m_Server.Directory() + "/log");
    EXPECT_NE(log.find("a secret was decrypted"), std::string::npos);
    EXPECT_EQ(log.find(SECRET.substr(0, 8)), std::string::npos);
    EXPECT_EQ(log.find(ReadFile(m_Folder.Path() + "/text").substr(0, 16)), std::string::npos);
}

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using BigNumber = std::unique_ptr<BIGNUM, decltype(&BN_clear_free)>;

Key KeyOf(const std::string& pem)
{
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> pText(
        BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free_all);
    return {PEM_read_bio_PUBKEY(pText.get(), nullptr, nullptr, nullptr), &EVP_PKEY_free};
}

BigNumber ModulusOf(const Key& key)
{
    BIGNUM* pModulus = nullptr;
    EVP_PKEY_get_bn_param(key.get(), "n", &pModulus);
    return {pModulus, &BN_clear_free};
}

/// Counts the prime factors of a modulus of 2048 bits that it is shown.
class FactorCounter {
public:
    explicit FactorCounter(BigNumber modulus) : m_Modulus(std::move(modulus)) {}

    /// As OpenSSL computes with them: least significant byte first, at multiples of a word.
    void LookAtWords(std::string_view bytes)
    {
        for (std::size_t nAt = 0; nAt + SIZE <= bytes.size(); nAt += sizeof(BN_ULONG)) {
            const bool bOdd = (bytes[nAt] & 1) != 0;
            if (bOdd && (bytes[nAt + SIZE - 1] & 0x80) != 0) Try(bytes.substr(nAt, SIZE), &BN_lebin2bn);
        }
    }

    /// As a key in DER has them.
    void LookAtDer(std::string_view bytes)
    {
        const std::string_view start("\x02\x81\x81\x00", 4);
        for (std::size_t nAt = bytes.find(start); nAt != bytes.npos; nAt = bytes.find(start, nAt + 1)) {
            Try(bytes.substr(nAt + start.size(), SIZE), &BN_bin2bn);
        }
    }

    std::size_t Count() const { return m_nCount; }

    static constexpr std::size_t SIZE = 128;

private:
    void Try(std::string_view bytes, decltype(&BN_bin2bn) read)
    {
        if (bytes.size() < SIZE) return;
        read(reinterpret_cast<const unsigned char*>(bytes.data()), SIZE, m_Factor.get());
        if (BN_num_bits(m_Factor.get()) != 8 * SIZE) return;
        BN_mod(m_Rest.get(), m_Modulus.get(), m_Factor.get(), m_pContext.get());
        if (BN_is_zero(m_Rest.get())) ++m_nCount;
    }

    const BigNumber m_Modulus;
    const BigNumber m_Factor{BN_new(), &BN_clear_free};
    const BigNumber m_Rest{BN_new(), &BN_clear_free};
    const std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> m_pContext{BN_CTX_new(), &BN_CTX_free};
    std::size_t m_nCount = 0;
};

std::size_t CountFactors(const ProcessMemory& memory, BigNumber modulus)
{
    FactorCounter counter(std::move(modulus));
    memory.Visit(FactorCounter::SIZE + 4, [&counter](std::string_view piece) {
        counter.LookAtWords(piece);
        counter.LookAtDer(piece);
    });
    return counter.Count();
}

/// What MemoryTest does not find is not there: this finds it.
TEST(FactorCounterTest, FactorsOfAPrivateKeyAreFoundInAProcessThatHoldsIt)
{
    const Key key(EVP_RSA_gen(2048), &EVP_PKEY_free);
    const ProcessMemory memory(getpid());
    if (!memory.IsReadable()) GTEST_SKIP() << "this system does not show a process's memory";
    EXPECT_GE(CountFactors(memory, ModulusOf(key)), 2u);

    unsigned char* pDer = nullptr;
    const int nLength = i2d_PrivateKey(key.get(), &pDer);
    FactorCounter counter(ModulusOf(key));
    counter.LookAtDer({reinterpret_cast<char*>(pDer), static_cast<std::size_t>(nLength)});
    EXPECT_EQ(counter.Count(), 2u);
    OPENSSL_clear_free(pDer, static_cast<std::size_t>(nLength));
}

/// A server that has taken in secrets.
class MemoryTest : public SecretsTest {
protected:
    void SetUp() override
    {
        if (!m_Memory.IsReadable()) GTEST_SKIP() << "this system does not show a child's memory";
        ExpectUnderstood("encrypt <secret | hex | client send-secret");
        ExpectUnderstood("encrypt <secret | hex | tr a-f A-F | client send-secret");
        ExpectUnderstood("client send-secret -e secret");
    }

    const ProcessMemory m_Memory{m_Server.Process().Id()};
};

TEST_F(MemoryTest, NoPlainSecretStaysInTheServer)
{
    EXPECT_EQ(m_Memory.Count(SECRET), 0u);
    EXPECT_EQ(m_Memory.Count(SECRET.substr(SECRET.size() - 16)), 0u);  // a freed block loses its first bytes
}

/// In DER the private key has a version number in front of the modulus, the public one not.
TEST_F(MemoryTest, NoPlainPrivateKeyStaysInTheServer)
{
    BigNumber modulus = ModulusOf(KeyOf(ReadFile(m_Folder.Path() + "/key.pem")));
    std::string bytes(2 * FactorCounter::SIZE, '\0');
    BN_bn2bin(modulus.get(), reinterpret_cast<unsigned char*>(bytes.data()));
    EXPECT_GE(m_Memory.Count(bytes), 1u) << "the search does not even find the public key";
    EXPECT_EQ(m_Memory.Count(std::string("\x02\x01\x00\x02\x82\x01\x01\x00", 8) + bytes.substr(0, 32)), 0u);
    EXPECT_EQ(CountFactors(m_Memory, std::move(modulus)), 0u);
}

/// The client's terminal is the one of this process.
TEST_F(SecretsTest, TypedSecretIsNotShown)
{
    int nMaster = -1;
    int nTerminal = -1;
    ASSERT_EQ(openpty(&nMaster, &nTerminal, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(dup2(nTerminal, STDIN_FILENO), STDIN_FILENO);
    Program client(m_Folder.Path(), "client",
                   {NBI_CLIENT, "--server", m_Server.Address(), "send-secret", "-e"});
    ASSERT_TRUE(Eventually([&client] { return client.StandardError() == "Secret: "; }));
    const std::string typed = SECRET + "\n";
    ASSERT_EQ(write(nMaster, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.StandardOutput(), UNDERSTOOD);
    fcntl(nMaster, F_SETFL, O_NONBLOCK);
    char shown[100];
    EXPECT_LE(read(nMaster, shown, sizeof(shown)), 0) << "the terminal echoed";
    termios after{};
    ASSERT_EQ(tcgetattr(nTerminal, &after), 0);
    EXPECT_NE(after.c_lflag & ECHO, 0u);
}

TEST(ServerKeyTest, ServerThatCannotMakeItsKeyPairDoesNotStart)
{
    const TestDirectory folder;
    WriteFile(folder.Path() + "/openssl.cnf",
              "openssl_conf = all\n[all]\nproviders = some\n[some]\nnull = none\n[none]\nactivate = 1\n");
    setenv("OPENSSL_CONF", (folder.Path() + "/openssl.cnf").c_str(), 1);
    WriteFile(folder.Path() + "/server.ini",
              "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n[server]\nListenPort = 0\n");
    const Outcome outcome = RunServer({"--config", folder.Path() + "/server.ini"});
    unsetenv("OPENSSL_CONF");
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_EQ(outcome.m_Error, "nbi-server: the server's RSA key pair cannot be made; the log says why\n");
    EXPECT_NE(ReadFile(folder.Path() + "/log").find("localrsakeymgr:121 "), std::string::npos);
}

}  // namespace
}  // namespace northbound
