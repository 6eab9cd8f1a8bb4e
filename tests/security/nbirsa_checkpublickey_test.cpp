// RsaAlgorithm::CheckPublicKey()
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <climits>
#include <memory>
#include <string>

#include "security/rsatesting.h"

namespace NS_UTIL {
namespace {

using nbitest::KeyOf;

constexpr unsigned long EXPONENT = 65537;

struct Free {
    void operator()(BIGNUM* pNumber) const { BN_free(pNumber); }
};
using Number = std::unique_ptr<BIGNUM, Free>;

Number NumberOf(unsigned long nValue)
{
    Number number(BN_new());
    BN_set_word(number.get(), nValue);
    return number;
}

/// One element in DER: its tag, the length of \p content, \p content.
std::string Element(char tag, const std::string& content)
{
    std::string length(1, static_cast<char>(content.size()));
    if (content.size() > 127) {
        length = {'\x82', static_cast<char>(content.size() / 256), static_cast<char>(content.size() % 256)};
        if (content.size() < 256) length = {'\x81', static_cast<char>(content.size())};
    }
    return tag + length + content;
}

std::string IntegerOf(const BIGNUM* pNumber)
{
    std::string bytes(static_cast<std::size_t>(BN_num_bytes(pNumber)) + 1, '\0');
    BN_bn2bin(pNumber, reinterpret_cast<unsigned char*>(&bytes[1]));
    if ((static_cast<unsigned char>(bytes[1]) & 0x80U) == 0) bytes.erase(0, 1);
    return Element('\x02', bytes);
}

std::string DerOf(const BIGNUM* pModulus, const BIGNUM* pExponent)
{
    return Element('\x30', IntegerOf(pModulus) + IntegerOf(pExponent));
}

std::string DerOf(const BIGNUM* pModulus, unsigned long nExponent = EXPONENT)
{
    return DerOf(pModulus, NumberOf(nExponent).get());
}

/// A number of \p nBits bits: a power of two and \p nMore.
Number PowerOfTwoAnd(int nBits, unsigned long nMore)
{
    Number number(BN_new());
    BN_set_bit(number.get(), nBits - 1);
    BN_add_word(number.get(), nMore);
    return number;
}

// What makes numbers of their length that have no factor below 2000 and are no primes.
constexpr unsigned long SOUND_8192 = 3;
constexpr unsigned long SOUND_8193 = 25;

class CheckPublicKeyTest : public nbitest::RsaFixture {
protected:
    CheckPublicKeyTest() { ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE); }
    ~CheckPublicKeyTest() override
    {
        EXPECT_EQ(ERR_peek_error(), 0u) << "the next user of OpenSSL takes this for a failure of its own";
        EXPECT_TRUE(m_Host.Logs().empty());
    }

    /// The modulus of the fixture's key, to be spoilt.
    Number Modulus() const
    {
        const auto* pNext = reinterpret_cast<const unsigned char*>(m_Public.data());
        EVP_PKEY* const pKey =
            d2i_PublicKey(EVP_PKEY_RSA, nullptr, &pNext, static_cast<long>(m_Public.size()));
        BIGNUM* pModulus = nullptr;
        EVP_PKEY_get_bn_param(pKey, "n", &pModulus);
        EVP_PKEY_free(pKey);
        return Number(pModulus);
    }
};

TEST_F(CheckPublicKeyTest, KeyMayNotBeShorterThanAskedFor)
{
    EXPECT_TRUE(RsaAlgorithm::CheckPublicKey(m_Public, 2048));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(m_Public, 2049));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(m_Public, INT_MAX));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(KeyOf(1024).Public(), 2048));
    for (const int nBits : {0, -1, INT_MIN}) EXPECT_TRUE(RsaAlgorithm::CheckPublicKey(m_Public, nBits));
}

TEST_F(CheckPublicKeyTest, KeysOfEverySizeInUseAreTaken)
{
    for (const unsigned int nBits : {1024U, 3072U, 4096U}) {
        EXPECT_TRUE(RsaAlgorithm::CheckPublicKey(KeyOf(nBits).Public(), static_cast<int>(nBits)));
    }
    EXPECT_EQ(DerOf(Modulus().get()), m_Public) << "the keys made below are made rightly";
}

TEST_F(CheckPublicKeyTest, BytesBehindTheKeyAreRefused)
{
    for (const char* pMore : {"x", "\n"}) EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(m_Public + pMore, 1024));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(m_Public + '\0', 1024));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(m_Public + m_Public, 1024));
}

TEST_F(CheckPublicKeyTest, WhatIsNoKeyIsRefused)
{
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey("", 0));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey("no key", 0));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(m_Private, 0));
    for (const std::size_t nBytes : {1u, 4u, 100u, 269u}) {
        EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(m_Public.substr(0, nBytes), 0));
    }
}

TEST_F(CheckPublicKeyTest, AnotherSpellingOfTheSameKeyIsRefused)
{
    // The length of the outer element in three bytes where two are enough.
    const std::string padded = std::string("\x30\x83\x00", 3) + m_Public.substr(2);
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(padded, 2048));
    // The modulus without the zero byte in front, as which it is negative.
    const std::string numbers = m_Public.substr(4);
    const std::string negative =
        Element('\x30', Element('\x02', numbers.substr(5, 256)) + numbers.substr(5 + 256));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(negative, 2048));
}

TEST_F(CheckPublicKeyTest, ModulusThatIsNoProductOfTwoLargePrimesIsRefused)
{
    const Number modulus = Modulus();
    BN_clear_bit(modulus.get(), 0);
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(modulus.get()), 1024)) << "even";

    const Number prime(BN_new());
    BN_generate_prime_ex(prime.get(), 1024, 0, nullptr, nullptr, nullptr);
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(prime.get()), 1024)) << "a prime";

    BN_mul_word(prime.get(), 3);
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(prime.get()), 1024)) << "a multiple of 3";

    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(NumberOf(0).get()), 0)) << "zero";
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(NumberOf(1).get()), 0)) << "one";
}

TEST_F(CheckPublicKeyTest, ExponentIsOddAndMoreThanOne)
{
    for (const unsigned long nExponent : {0UL, 1UL, 2UL, 65536UL}) {
        EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(Modulus().get(), nExponent), 2048)) << nExponent;
    }
    EXPECT_TRUE(RsaAlgorithm::CheckPublicKey(DerOf(Modulus().get(), 3), 2048));
}

TEST_F(CheckPublicKeyTest, ModulusThatTakesTooLongIsRefusedByItsSize)
{
    for (const int nBits : {8193, 16384, 100000}) {
        const Number modulus(BN_new());
        BN_rand(modulus.get(), nBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ODD);
        EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(modulus.get()), 2048)) << nBits;
    }
}

TEST_F(CheckPublicKeyTest, LongestModulusHas8192Bits)
{
    EXPECT_TRUE(RsaAlgorithm::CheckPublicKey(DerOf(PowerOfTwoAnd(8192, SOUND_8192).get()), 8192));
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(DerOf(PowerOfTwoAnd(8193, SOUND_8193).get()), 8192));
}

TEST_F(CheckPublicKeyTest, LongestKeyHas4096Bytes)
{
    const Number modulus = PowerOfTwoAnd(8192, SOUND_8192);
    const std::string longest = DerOf(modulus.get(), PowerOfTwoAnd(8 * 3059 - 1, 1).get());
    ASSERT_EQ(longest.size(), 4096u);
    EXPECT_TRUE(RsaAlgorithm::CheckPublicKey(longest, 2048));
    const std::string longer = DerOf(modulus.get(), PowerOfTwoAnd(8 * 3060 - 1, 1).get());
    ASSERT_EQ(longer.size(), 4097u);
    EXPECT_FALSE(RsaAlgorithm::CheckPublicKey(longer, 2048));
}

}  // namespace
}  // namespace NS_UTIL
