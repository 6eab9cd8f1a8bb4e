#include "nbihost/cipher.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned int SELECTOR = 19;
const std::string ALPHABET = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string Encrypt(const std::string& plain, unsigned int nSelector = SELECTOR)
{
    std::string cipher;
    EXPECT_EQ(tavoAESCipher::encryptEx(plain, cipher, nSelector), 0);
    return cipher;
}

void ExpectRefused(const std::string& cipher, unsigned int nSelector = SELECTOR)
{
    std::string plain = "old";
    EXPECT_NE(tavoAESCipher::decryptEx(cipher, plain, nSelector), 0) << cipher;
    EXPECT_EQ(plain, "") << cipher;
    EXPECT_EQ(ERR_peek_error(), 0UL) << cipher;
}

TEST(CipherTest, TextOfAnyLengthComesBack)
{
    for (const std::size_t nLength : {0U, 1U, 2U, 3U, 15U, 16U, 17U, 1191U, 100000U}) {
        std::string plain(nLength, '\0');
        for (std::size_t i = 0; i < nLength; ++i) plain[i] = static_cast<char>(i * 7);
        std::string back = "old";
        EXPECT_EQ(tavoAESCipher::decryptEx(Encrypt(plain), back, SELECTOR), 0);
        EXPECT_EQ(back, plain);
        EXPECT_EQ(ERR_peek_error(), 0UL);
    }
}

TEST(CipherTest, CipherTextHasNoZeroBytesAndIsBase64)
{
    const std::string cipher = Encrypt(std::string(500, '\0'));
    EXPECT_EQ(cipher.find_first_not_of(ALPHABET + "="), std::string::npos);
    EXPECT_EQ(cipher.size() % 4, 0U);
}

TEST(CipherTest, NonceIsFreshEachTime)
{
    std::set<std::string> heads;
    for (int i = 0; i < 1000; ++i) heads.insert(Encrypt("same").substr(0, 16));
    EXPECT_EQ(heads.size(), 1000U);
}

TEST(CipherTest, EveryChangedCharacterIsRefused)
{
    for (const char* pPlain : {"", "a", "ab", "a secret text"}) {
        const std::string cipher = Encrypt(pPlain);
        for (std::size_t i = 0; i < cipher.size(); ++i) {
            for (const char other : {'A', 'B', '/', '=', '!', ' '}) {
                std::string changed = cipher;
                changed[i] = other;
                if (changed != cipher) ExpectRefused(changed);
            }
        }
    }
}

TEST(CipherTest, SpareBitsOfTheLastCharacterAreNotIgnored)
{
    std::string cipher = Encrypt("a");  // 29 bytes: the last character but one pad carries spare bits
    ASSERT_EQ(cipher.substr(cipher.size() - 1), "=");
    char& last = cipher[cipher.size() - 2];
    last = ALPHABET[ALPHABET.find(last) | 1U];
    ExpectRefused(cipher);
}

TEST(CipherTest, EveryShortenedTextIsRefused)
{
    const std::string cipher = Encrypt("a secret text");
    for (std::size_t i = 0; i < cipher.size(); ++i) {
        ExpectRefused(cipher.substr(0, i));
        ExpectRefused(cipher.substr(cipher.size() - i));
    }
}

TEST(CipherTest, LengthenedTextIsRefused)
{
    const std::string cipher = Encrypt("a secret text!!");
    for (const char* pMore : {"A", "AAAA", "\n", "====", " ", "    "}) {
        ExpectRefused(cipher + pMore);
        ExpectRefused(pMore + cipher);
    }
    ExpectRefused(cipher + std::string(4, '\0'));
}

TEST(CipherTest, ForeignTextIsRefused)
{
    ExpectRefused("");
    ExpectRefused("====");
    ExpectRefused("plain text that nobody enciphered");
    ExpectRefused(std::string(40, 'A'));
    ExpectRefused(std::string(4000, 'A'));
    ExpectRefused(std::string(40, '\xFF'));
}

TEST(CipherTest, PlainTextOfARefusedCipherTextIsWiped)
{
    const std::string secret(64, 'S');
    std::string cipher = Encrypt(secret);
    cipher[cipher.size() / 2] =
        cipher[cipher.size() / 2] == 'A' ? 'B' : 'A';  // found out behind the deciphering
    std::string plain(200, 'P');
    const volatile char* const pBytes = plain.data();
    ASSERT_NE(tavoAESCipher::decryptEx(cipher, plain, SELECTOR), 0);
    ASSERT_EQ(plain.data(), pBytes);  // still the same storage
    for (std::size_t i = 0; i < 200; ++i) ASSERT_EQ(pBytes[i], '\0') << i;
}

TEST(CipherTest, OtherSelectorIsRefused)
{
    const std::string cipher = Encrypt("text", SELECTOR);
    ExpectRefused(cipher, SELECTOR + 1);
    ExpectRefused(cipher, SELECTOR + (1U << 24U));
    ExpectRefused(cipher, 0);
}

TEST(CipherTest, ErrorsThatTheCallerHasNotReadYetStayInTheQueue)
{
    ERR_raise(ERR_LIB_USER, 42);
    std::string plain;
    tavoAESCipher::decryptEx("nonsense", plain, SELECTOR);
    tavoAESCipher::decryptEx(std::string(40, 'A'), plain, SELECTOR);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
    EXPECT_EQ(ERR_get_error(), 0UL);
}

TEST(CipherTest, OneTextMayBeInputAndOutput)
{
    std::string text = "a text long enough to live on the heap";
    ASSERT_EQ(tavoAESCipher::encryptEx(text, text, SELECTOR), 0);
    ASSERT_EQ(tavoAESCipher::decryptEx(text, text, SELECTOR), 0);
    EXPECT_EQ(text, "a text long enough to live on the heap");
}

TEST(CipherTest, ThreadsEncipherSideBySide)
{
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 100; ++n) {
                const std::string plain = std::to_string(i * 1000 + n);
                std::string back;
                EXPECT_EQ(tavoAESCipher::decryptEx(Encrypt(plain), back, SELECTOR), 0);
                EXPECT_EQ(back, plain);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

/// What another process enciphered: its key is another one.
TEST(CipherDeathTest, KeyIsMadePerProcess)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";  // runs the program anew
    const std::string ours = Encrypt("text");
    // The child is told our text through the environment, which the new program inherits.
    if (::getenv("NBIHOST_CIPHER_TEXT") == nullptr) ::setenv("NBIHOST_CIPHER_TEXT", ours.c_str(), 1);
    EXPECT_EXIT(
        {
            std::string plain;
            const bool bRefused =
                tavoAESCipher::decryptEx(::getenv("NBIHOST_CIPHER_TEXT"), plain, SELECTOR) != 0 &&
                plain.empty();
            ::_exit(bRefused ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
    std::string plain;
    EXPECT_EQ(tavoAESCipher::decryptEx(::getenv("NBIHOST_CIPHER_TEXT"), plain, SELECTOR), 0);
}

}  // namespace
