/// \file
/// An RSA key of a test, with OpenSSL's current interface as the peer of what is tested.
#pragma once

#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace nbitest {

class RsaKey {
public:
    explicit RsaKey(unsigned int nBits) : m_pKey(EVP_RSA_gen(nBits)) { Check(m_pKey != nullptr); }

    /// From the PKCS#1 DER form of a public key; Decrypt() then throws.
    explicit RsaKey(const std::string& publicDer)
    {
        const auto* pNext = reinterpret_cast<const unsigned char*>(publicDer.data());
        m_pKey.reset(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &pNext, static_cast<long>(publicDer.size())));
        Check(m_pKey != nullptr);
    }

    /// From the PKCS#1 DER form of a private key; nothing when it is none.
    static std::unique_ptr<RsaKey> FromPrivate(const std::string& privateDer)
    {
        const auto* pNext = reinterpret_cast<const unsigned char*>(privateDer.data());
        EVP_PKEY* const pKey =
            d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &pNext, static_cast<long>(privateDer.size()));
        return pKey == nullptr ? nullptr : std::unique_ptr<RsaKey>(new RsaKey(pKey));
    }

    /// The PKCS#1 DER forms.
    std::string Public() const { return Der(i2d_PublicKey); }
    std::string Private() const { return Der(i2d_PrivateKey); }

    /// Bytes of the modulus.
    long Size() const { return EVP_PKEY_get_size(m_pKey.get()); }
    int Bits() const { return EVP_PKEY_get_bits(m_pKey.get()); }

    /// One block with OAEP.
    std::string Encrypt(const std::string& plain) const
    {
        return Run(plain, EVP_PKEY_encrypt_init, EVP_PKEY_encrypt);
    }
    std::string Decrypt(const std::string& cipher) const
    {
        return Run(cipher, EVP_PKEY_decrypt_init, EVP_PKEY_decrypt);
    }

private:
    struct Free {
        void operator()(EVP_PKEY* pKey) const { EVP_PKEY_free(pKey); }
        void operator()(EVP_PKEY_CTX* pContext) const { EVP_PKEY_CTX_free(pContext); }
    };

    explicit RsaKey(EVP_PKEY* pKey) : m_pKey(pKey) {}

    static void Check(bool bWorked)
    {
        if (!bWorked) throw std::runtime_error("OpenSSL refuses what a test asks of it");
    }

    template <class Encode>
    std::string Der(Encode encode) const
    {
        unsigned char* pDer = nullptr;
        const int nLength = encode(m_pKey.get(), &pDer);
        Check(nLength > 0);
        const std::string der(reinterpret_cast<char*>(pDer), static_cast<std::size_t>(nLength));
        OPENSSL_clear_free(pDer, der.size());
        return der;
    }

    template <class Init, class Operation>
    std::string Run(const std::string& in, Init init, Operation operation) const
    {
        const std::unique_ptr<EVP_PKEY_CTX, Free> pContext(EVP_PKEY_CTX_new(m_pKey.get(), nullptr));
        Check(init(pContext.get()) == 1);
        Check(EVP_PKEY_CTX_set_rsa_padding(pContext.get(), RSA_PKCS1_OAEP_PADDING) == 1);
        std::size_t nLength = static_cast<std::size_t>(Size());
        std::string out(nLength, '\0');
        const auto* pIn = reinterpret_cast<const unsigned char*>(in.data());
        Check(operation(pContext.get(), reinterpret_cast<unsigned char*>(&out[0]), &nLength, pIn,
                        in.size()) == 1);
        out.resize(nLength);
        return out;
    }

    std::unique_ptr<EVP_PKEY, Free> m_pKey;
};

}  // namespace nbitest
