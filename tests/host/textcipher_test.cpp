// The cipher of the standalone host with keys of the tests' own.
#include "textcipher.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "processkey.h"
#include "support/heapwatch.h"
#include "support/inchild.h"
#include "support/norandombytes.h"

namespace nbihost {
namespace {

constexpr unsigned int SELECTOR = 19;
const std::string PLAIN = "a text long enough to live on the heap";

CipherResult TryToEncipher(ProcessKey& key, const std::string& plain = PLAIN)
{
    std::string cipher = "old";
    const CipherResult result = Encipher(key, plain, cipher, SELECTOR);
    EXPECT_EQ(cipher.empty(), result != CIPHER_DONE);
    return result;
}

TEST(TextCipherTest, KeyThatCouldNotBeMadeIsTriedAgain)
{
    ProcessKey key;
    ERR_raise(ERR_LIB_USER, 42);
    {
        const nbitest::NoRandomBytes noRandomBytes;
        EXPECT_EQ(TryToEncipher(key), CIPHER_NO_RANDOM);
        std::string plain = "old";
        EXPECT_EQ(Decipher(key, std::string(40, 'A'), plain, SELECTOR), CIPHER_NO_RANDOM);
        EXPECT_EQ(plain, "");
    }
    EXPECT_EQ(TryToEncipher(key), CIPHER_DONE);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
    EXPECT_EQ(ERR_get_error(), 0UL);
}

TEST(TextCipherTest, NonceThatCannotBeMadeKeepsTheKey)
{
    ProcessKey key;
    std::string cipher;
    ASSERT_EQ(Encipher(key, PLAIN, cipher, SELECTOR), CIPHER_DONE);
    {
        const nbitest::NoRandomBytes noRandomBytes;
        EXPECT_EQ(TryToEncipher(key), CIPHER_NO_RANDOM);
    }
    std::string plain;
    EXPECT_EQ(Decipher(key, cipher, plain, SELECTOR), CIPHER_DONE);
    EXPECT_EQ(plain, PLAIN);
}

TEST(TextCipherTest, KeyIsNotUsedForMoreTextsThanItMay)
{
    EXPECT_EQ(ProcessKey::MAX_TEXTS, 4294967296U);
    ProcessKey key(2);
    std::string cipher;
    EXPECT_EQ(Encipher(key, PLAIN, cipher, SELECTOR), CIPHER_DONE);
    EXPECT_EQ(TryToEncipher(key), CIPHER_DONE);
    EXPECT_EQ(TryToEncipher(key), CIPHER_KEY_USED_UP);
    EXPECT_EQ(TryToEncipher(key), CIPHER_KEY_USED_UP);
    std::string plain;
    EXPECT_EQ(Decipher(key, cipher, plain, SELECTOR), CIPHER_DONE) << "what was enciphered stays readable";
}

TEST(TextCipherTest, TextThatIsTooLongIsRefusedByItsSize)
{
    ProcessKey key;
    EXPECT_EQ(TryToEncipher(key, std::string(MAX_PLAIN_BYTES + 1, 'x')), CIPHER_TOO_LONG);
    std::string plain = "old";
    EXPECT_EQ(Decipher(key, std::string(2 * MAX_PLAIN_BYTES, 'A'), plain, SELECTOR), CIPHER_TOO_LONG);
    EXPECT_EQ(plain, "");
}

TEST(TextCipherTest, LongestTextComesBack)
{
    ProcessKey key;
    std::string text(MAX_PLAIN_BYTES, 'x');
    ASSERT_EQ(Encipher(key, text, text, SELECTOR), CIPHER_DONE);
    ASSERT_EQ(Decipher(key, text, text, SELECTOR), CIPHER_DONE);
    EXPECT_TRUE(text == std::string(MAX_PLAIN_BYTES, 'x'));
}

TEST(TextCipherTest, EveryAllocationThatFailsIsToldAndLeavesNoPlainText)
{
    ProcessKey key;
    std::string cipher;
    ASSERT_EQ(Encipher(key, PLAIN, cipher, SELECTOR), CIPHER_DONE);
    const nbitest::HeapWatch watch;
    int nRefused = 0;
    const auto Count = [&nRefused](CipherResult result) {
        if (result == CIPHER_NO_MEMORY) ++nRefused;
    };
    nbitest::FailEachAllocation(
        [&] {
            std::string text;
            Count(Encipher(key, PLAIN, text, SELECTOR));
        },
        [] {});
    EXPECT_GE(nRefused, 2);
    nRefused = 0;
    nbitest::FailEachAllocation(
        [&] {
            std::string text;
            Count(Decipher(key, cipher, text, SELECTOR));
            OPENSSL_cleanse(text.data(), text.size());
        },
        [] {});
    EXPECT_GE(nRefused, 2);
    EXPECT_EQ(watch.Sightings(PLAIN), 0);
}

TEST(TextCipherTest, ChildOfAForkReadsWhatItsParentEnciphered)
{
    ProcessKey key;
    std::string cipher;
    ASSERT_EQ(Encipher(key, PLAIN, cipher, SELECTOR), CIPHER_DONE);
    EXPECT_TRUE(nbitest::PassesInChild([&] {
        std::string plain;
        EXPECT_EQ(Decipher(key, cipher, plain, SELECTOR), CIPHER_DONE);
        EXPECT_EQ(plain, PLAIN);
    }));
}

/// The flags that the system shows for the page of \p pByte.
std::string FlagsOfPage(const unsigned char* pByte)
{
    const auto nAddress = reinterpret_cast<std::uintptr_t>(pByte);
    std::ifstream maps("/proc/self/smaps");
    bool bInside = false;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t nBegin = 0;
        std::uintptr_t nEnd = 0;
        char dash = '\0';
        std::istringstream range(line);
        if (range >> std::hex >> nBegin >> dash >> nEnd && dash == '-') {
            bInside = nBegin <= nAddress && nAddress < nEnd;
        }
        if (bInside && line.rfind("VmFlags:", 0) == 0) return line;
    }
    return "";
}

TEST(TextCipherTest, KeyStaysOutOfCoreDumps)
{
    ProcessKey key;
    const unsigned char* pKey = nullptr;
    ASSERT_EQ(key.Get(pKey), CIPHER_DONE);
    const std::string flags = FlagsOfPage(pKey);
    if (flags.empty()) GTEST_SKIP() << "the system does not show the flags of a page";
    EXPECT_NE((flags + " ").find(" dd "), std::string::npos) << flags;
    EXPECT_EQ((flags + " ").find(" dc "), std::string::npos) << "a child of a fork has to keep it: " << flags;
}

}  // namespace
}  // namespace nbihost
