// What wipes, looked at in place: nobody has to search freed memory for bytes that are still there. What happens to
// secrets in the library's own buffers stands in security/wipe_test.cpp.
#include "base/wipedtext.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "base/wipe.h"
#include "support/heapwatch.h"

namespace NS_UTIL {
namespace {

TEST(WipeBytesTest, OnlyTheBytesThatAreNamedBecomeZero)
{
    char text[] = "secret!";
    WipeBytes(text, 6);
    EXPECT_EQ(std::string(text, 8), std::string(6, '\0') + std::string("!\0", 2));
}

TEST(WipeBytesTest, OneByteIsWipedToo)
{
    char nByte = 'x';
    WipeBytes(&nByte, 1);
    EXPECT_EQ(nByte, '\0');
}

TEST(WipeBytesTest, NoBytesMayStandNowhere)
{
    WipeBytes(nullptr, 0);
}

TEST(WipeAtEndTest, BytesStayUntilTheScopeEndsHoweverItIsLeft)
{
    char text[] = "secret";
    try {
        const WipeAtEnd wipe(text, sizeof(text));
        EXPECT_STREQ(text, "secret");
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(std::string(text, sizeof(text)), std::string(sizeof(text), '\0'));
    }
}

TEST(WipedArrayTest, BytesAreOverwrittenBeforeTheyAreFreed)
{
    const nbitest::HeapWatch heap;
    {
        const WipedArray pArray(new char[7], WipingDelete{7});
        std::memcpy(pArray.get(), "secret", 7);
    }
    EXPECT_EQ(heap.Sightings("secr"), 0);
    EXPECT_EQ(heap.Sightings("et"), 0);
}

TEST(WipedArrayTest, ArrayOfUnknownSizeIsLeftAsItIs)
{
    EXPECT_EQ(WipedArray().get_deleter().m_nSize, 0U);
}

TEST(MaskTextTest, EveryCharacterBecomesTheMask)
{
    std::string text = "secret";
    MaskText(text);
    EXPECT_EQ(text, "******");
}

TEST(WipedTextTest, TextIsOverwrittenAtItsEnd)
{
    // In storage of the test's own, so that the bytes may be looked at: a short text stands in the object itself.
    alignas(WipedText) unsigned char storage[sizeof(WipedText)] = {};
    auto* const pText = new (storage) WipedText;
    pText->m_Text = "secret";
    const std::string before(reinterpret_cast<char*>(storage), sizeof(storage));
    EXPECT_NE(before.find("secret"), std::string::npos);
    pText->~WipedText();
    const std::string after(reinterpret_cast<char*>(storage), sizeof(storage));
    EXPECT_EQ(after.find("secret"), std::string::npos);
}

TEST(WipedTextTest, WhatALongerTextLeftBehindAShorterOneIsOverwrittenToo)
{
    alignas(WipedText) unsigned char storage[sizeof(WipedText)] = {};
    auto* const pText = new (storage) WipedText;
    pText->m_Text = "secret";
    pText->m_Text = "s";
    const std::string before(reinterpret_cast<char*>(storage), sizeof(storage));
    EXPECT_NE(before.find("cret"), std::string::npos);
    pText->~WipedText();
    const std::string after(reinterpret_cast<char*>(storage), sizeof(storage));
    EXPECT_EQ(after.find("cret"), std::string::npos);
}

}  // namespace
}  // namespace NS_UTIL
