#include "nbihost/cipher.h"

#include "processkey.h"
#include "textcipher.h"

namespace {

/// Deliberate: never deleted, since late threads may still decipher.
nbihost::ProcessKey& Key()
{
    static auto* const pKey = new nbihost::ProcessKey;
    return *pKey;
}

}  // namespace

int tavoAESCipher::encryptEx(const std::string& plain, std::string& cipher, unsigned int nSelector)
{
    return nbihost::Encipher(Key(), plain, cipher, nSelector);
}

int tavoAESCipher::decryptEx(const std::string& cipher, std::string& plain, unsigned int nSelector)
{
    return nbihost::Decipher(Key(), cipher, plain, nSelector);
}
