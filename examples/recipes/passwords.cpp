// Both ends of a login in one process: the password comes from standard input, and goes encrypted to the server's half.
#include <nbihost/standalone.h>
#include <nbiutil/nbiutil.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <memory>
#include <string>

using namespace NS_UTIL;

// [read]
/// Reads with read(): streams keep copies that nobody wipes.
bool ReadPassword(AutoReleaseString& password)
{
    char room[128];
    const ssize_t nRead = read(STDIN_FILENO, room, sizeof room);
    std::size_t nLength = nRead > 0 ? static_cast<std::size_t>(nRead) : 0;
    if (nLength > 0 && room[nLength - 1] == '\n') --nLength;
    const bool bDone = nLength > 0 && nLength < sizeof room &&
                       password.setBuffer(room, static_cast<unsigned int>(nLength)) == 0;
    explicit_bzero(room, sizeof room);
    return bDone;
}
// [read]

// [encrypt]
/// What travels: raw cipher text, 256 bytes. At most 214 bytes fit in.
std::string EncryptFor(const std::string& publicKey, const AutoReleaseString& password)
{
    if (!RsaAlgorithm::CheckPublicKey(publicKey, 2048)) return "";
    char* pCipher = nullptr;
    long nLength = password.length();
    RsaAlgorithm::Encrypt(pCipher, password.getBuffer(), nLength, publicKey.data(),
                          static_cast<int>(publicKey.size()));
    const std::unique_ptr<char[]> pOwned(pCipher);
    return nLength > 0 ? std::string(pCipher, static_cast<std::size_t>(nLength)) : "";
}
// [encrypt]

// [digest]
using Digest = std::array<unsigned char, 32>;

/// What a server keeps of a password: slow to try, and no password.
Digest DigestOf(const AutoReleaseString& password, const std::string& salt)
{
    Digest digest{};
    PKCS5_PBKDF2_HMAC(password.getBuffer(), static_cast<int>(password.length()),
                      reinterpret_cast<const unsigned char*>(salt.data()), static_cast<int>(salt.size()),
                      100000, EVP_sha256(), static_cast<int>(digest.size()), digest.data());
    return digest;
}
// [digest]

// [check]
/// The password is plain in here alone, and wiped at the end.
bool IsRight(const std::string& cipher, const std::string& salt, const Digest& wanted)
{
    AutoReleaseString password;
    const LocalRsaKeyMgr& keys = *LocalRsaKeyMgr::Instance();
    if (cipher.size() > 256) return false;
    if (keys.DecryptByLocalRsaKey(password, cipher.data(), static_cast<long>(cipher.size())) != 1)
        return false;
    const Digest digest = DigestOf(password, salt);
    return CRYPTO_memcmp(digest.data(), wanted.data(), wanted.size()) == 0;  // takes as long for any mistake
}
// [check]

int main()
{
    nbihost::Host host("host.ini", {{}, &TaskPoolMgr::ShutDown});
    host.Start();
    // [start]
    LocalRsaKeyMgr& keys = *LocalRsaKeyMgr::Instance();
    if (keys.Init() != 1) return 1;  // before other threads can ask
    // [start]
    const std::string salt = "of this user alone";
    AutoReleaseString wanted;
    if (wanted.setBuffer("open sesame") != 0) return 1;
    const Digest stored = DigestOf(wanted, salt);

    AutoReleaseString typed;
    if (!ReadPassword(typed)) return 1;
    const std::string publicKey(keys.GetLocalRsaPublicKey(),
                                static_cast<std::size_t>(keys.GetLocalRsaPublicKeyLen()));
    const std::string cipher = EncryptFor(publicKey, typed);
    std::cout << (IsRight(cipher, salt, stored) ? "welcome" : "refused") << '\n';
}
