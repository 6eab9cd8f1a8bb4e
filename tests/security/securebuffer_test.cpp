#include "nbiutil/securebuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "nbihost/recordinghost.h"

namespace NS_UTIL {
namespace {

using nbitest::RecordingHost;

std::string Payload(const AutoReleaseString& text)
{
    return std::string(text.getBuffer(), text.length());
}

class AutoReleaseStringTest : public ::testing::Test {
protected:
    RecordingHost m_Host;
    AutoReleaseString m_Text;
};

TEST_F(AutoReleaseStringTest, NewObjectIsEmpty)
{
    EXPECT_EQ(m_Text.getBuffer(), nullptr);
    EXPECT_EQ(m_Text.length(), 0u);
}

TEST_F(AutoReleaseStringTest, NullSourceIsRefusedAndTheContentStays)
{
    ASSERT_EQ(m_Text.setBuffer("earlier"), 0);
    const char* const pBefore = m_Text.getBuffer();
    EXPECT_EQ(m_Text.setBuffer(nullptr, 5), -1);
    EXPECT_EQ(m_Text.setBuffer(nullptr), -1);
    EXPECT_EQ(m_Text.getBuffer(), pBefore);
    EXPECT_EQ(Payload(m_Text), "earlier");
}

TEST_F(AutoReleaseStringTest, LengthZeroHoldsOneZeroByte)
{
    ASSERT_EQ(m_Text.setBuffer("earlier"), 0);
    EXPECT_EQ(m_Text.setBuffer("ignored", 0), 0);
    EXPECT_EQ(m_Text.length(), 0u);
    ASSERT_NE(m_Text.getBuffer(), nullptr);
    EXPECT_EQ(m_Text.getBuffer()[0], '\0');
}

TEST_F(AutoReleaseStringTest, BytesWithAZeroAmongThemAreKeptAll)
{
    const char bytes[] = {'a', 'b', '\0', 'd', 'e'};
    EXPECT_EQ(m_Text.setBuffer(bytes, sizeof bytes), 0);
    EXPECT_EQ(m_Text.length(), 5u);
    EXPECT_EQ(Payload(m_Text), std::string(bytes, sizeof bytes));
    EXPECT_EQ(m_Text.getBuffer()[5], '\0');
}

TEST_F(AutoReleaseStringTest, TextEndsAtItsZeroByte)
{
    const char bytes[] = {'a', 'b', '\0', 'd', 'e', '\0'};
    EXPECT_EQ(m_Text.setBuffer(bytes), 0);
    EXPECT_EQ(Payload(m_Text), "ab");
}

TEST_F(AutoReleaseStringTest, OwnContentIsAValidSource)
{
    ASSERT_EQ(m_Text.setBuffer("0123456789"), 0);
    EXPECT_EQ(m_Text.setBuffer(m_Text.getBuffer() + 3), 0);
    EXPECT_EQ(Payload(m_Text), "3456789");
    EXPECT_EQ(m_Text.setBuffer(m_Text.getBuffer(), 2), 0);
    EXPECT_EQ(Payload(m_Text), "34");
}

TEST_F(AutoReleaseStringTest, FailedFillLeavesZerosOfTheNewLength)
{
    ASSERT_EQ(m_Text.setBuffer("earlier"), 0);
    m_Host.FailMemset(1);
    EXPECT_EQ(m_Text.setBuffer("abcd", 4), -2);
    EXPECT_EQ(Payload(m_Text), std::string(4, '\0'));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(AutoReleaseStringTest, FailedCopyLeavesZerosOfTheNewLength)
{
    m_Host.FailMemcpy(1);
    EXPECT_EQ(m_Text.setBuffer("abcd"), -2);
    EXPECT_EQ(Payload(m_Text), std::string(4, '\0'));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(AutoReleaseStringTest, BeyondTheLimitOfTheBoundedCopyIsAFailure)
{
    const std::string big(std::size_t{256} << 20, 'x');
    EXPECT_EQ(m_Text.setBuffer(big.data(), static_cast<unsigned int>(big.size())), -2);
    EXPECT_EQ(m_Text.length(), big.size());
    EXPECT_EQ(m_Text.getBuffer()[0], '\0');
    EXPECT_EQ(m_Text.getBuffer()[big.size()], '\0');
}

TEST_F(AutoReleaseStringTest, TextOverloadCallsTheOverrideOfASubclass)
{
    class Counting : public AutoReleaseString {
    public:
        using AutoReleaseString::setBuffer;
        int setBuffer(const char* data, unsigned int len) override
        {
            m_Seen.assign(data, len);
            return 42;
        }
        std::string m_Seen;
    };
    Counting text;
    EXPECT_EQ(text.setBuffer("abc"), 42);
    EXPECT_EQ(text.m_Seen, "abc");
}

/// What the slots of the virtual table hold, from the one that a pointer to member function names.
template <class Function>
std::ptrdiff_t SlotOf(Function function)
{
    std::ptrdiff_t words[2];
    static_assert(sizeof function == sizeof words, "two words: 1 + byte offset into the table, adjustment");
    std::memcpy(words, &function, sizeof words);
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST_F(AutoReleaseStringTest, VirtualTableKeepsItsOrder)
{
    using Text = int (AutoReleaseString::*)(const char*);
    using Bytes = int (AutoReleaseString::*)(const char*, unsigned int);
    // Slots 0 and 1 are the two destructors.
    EXPECT_EQ(SlotOf(&AutoReleaseString::getBuffer), 2);
    EXPECT_EQ(SlotOf(&AutoReleaseString::length), 3);
    EXPECT_EQ(SlotOf(static_cast<Text>(&AutoReleaseString::setBuffer)), 4);
    EXPECT_EQ(SlotOf(static_cast<Bytes>(&AutoReleaseString::setBuffer)), 5);
}

TEST_F(AutoReleaseStringTest, DestructorsTakeTheFirstTwoSlotsOfTheTable)
{
    // Calls the deleting destructor through the table, which must free the object: a leak or a double free
    // shows under the address sanitizer, a foreign function in the slot at once.
    struct Flagging : AutoReleaseString {
        explicit Flagging(bool& bGone) : m_bGone(bGone) {}
        ~Flagging() override { m_bGone = true; }
        bool& m_bGone;
    };
    bool bGone = false;
    auto* pText = new Flagging(bGone);
    void (*const* pTable)(void*) = nullptr;
    std::memcpy(&pTable, static_cast<void*>(pText), sizeof pTable);
    pTable[1](pText);
    EXPECT_TRUE(bGone);
}

TEST(PwdCtrlStringTest, NewObjectHoldsTheEmptyText)
{
    EXPECT_EQ(PwdCtrlString().GetStr(), "");
}

TEST(PwdCtrlStringTest, SixCharactersBecomeSixAsterisks)
{
    std::string password = "secret";
    PwdCtrlString::ClearStr(password);
    EXPECT_EQ(password, "******");
}

TEST(PwdCtrlStringTest, EmptyTextIsLeftAlone)
{
    std::string password;
    PwdCtrlString::ClearStr(password);
    EXPECT_EQ(password, "");
}

TEST(PwdCtrlStringTest, ZeroBytesAreMaskedToo)
{
    std::string password("a\0b", 3);
    PwdCtrlString::ClearStr(password);
    EXPECT_EQ(password, "***");
}

TEST(PwdCtrlStringTest, HeldTextIsMaskedInPlace)
{
    PwdCtrlString password;
    const std::string original = "secret";
    password.SetStr(original);
    EXPECT_EQ(password.GetStr(), "secret");
    password.ClearStr();
    EXPECT_EQ(password.GetStr(), "******");
    EXPECT_EQ(original, "secret");
}

TEST(PwdCtrlStringTest, NewTextReplacesTheOldOne)
{
    PwdCtrlString password;
    password.SetStr("a longer text than the next one");
    const char* const pStorage = password.GetStr().data();
    password.SetStr("short");
    EXPECT_EQ(password.GetStr(), "short");
    ASSERT_EQ(password.GetStr().data(), pStorage) << "the text moved: nothing to look at";
    EXPECT_EQ(pStorage[6], '*') << "what the new text does not cover still holds the old one";
}

TEST(PwdCtrlStringTest, OwnTextIsAValidSource)
{
    PwdCtrlString password;
    password.SetStr("secret");
    password.SetStr(password.GetStr());
    EXPECT_EQ(password.GetStr(), "secret");
}

}  // namespace
}  // namespace NS_UTIL
