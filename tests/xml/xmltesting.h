/// \file
/// What the tests of the description files share: standard output as text, a small stack, trees as text.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <string>
#include <vector>

#include "nbiutil/xmltag.h"
#include "xml/silence.h"

namespace nbitest {

/// The first two lines of every parse.
constexpr char POST_CREATE[] = "in [EnableCharacterDataHandler]\nout [EnableCharacterDataHandler]\n";
/// The two lines of one run of character data.
constexpr char CHARACTERS[] = "in [OnXMLCharacterData]\nout [OnXMLCharacterData]\n";

/// What \p work prints to standard output.
inline std::string PrintedBy(const std::function<void()>& work)
{
    ::testing::internal::CaptureStdout();
    work();
    return ::testing::internal::GetCapturedStdout();
}

/// Runs \p work on a thread with a stack of 256 KiB.
inline void RunOnSmallStack(std::function<void()> work)
{
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    const auto run = [](void* pWork) -> void* {
        (*static_cast<std::function<void()>*>(pWork))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

/// One element as text: its level, name and attributes, such as "1 table name=eth0".
inline std::string LineOf(int nLevel, const NS_UTIL::XMLTag& tag)
{
    std::string line = std::to_string(nLevel) + " " + tag.m_Name;
    for (const NS_UTIL::XMLItem* pItem : NS_UTIL::XMLItems(tag)) {
        line += std::string(" ") + pItem->m_pName + "=" + pItem->m_pValue;
        EXPECT_STREQ(pItem->m_pValue, pItem->m_pPrintValue);
        EXPECT_EQ(pItem->m_nId, -1);
    }
    EXPECT_EQ(tag.m_nId, -1);
    EXPECT_EQ(tag.m_Text, "");
    return line;
}

/// Every element in document order.
inline std::vector<std::string> LinesOf(const NS_UTIL::XMLTag& tag, int nLevel = 0)
{
    std::vector<std::string> lines{LineOf(nLevel, tag)};
    if (tag.m_pChildren == nullptr) return lines;
    EXPECT_FALSE(tag.m_pChildren->empty());
    for (const NS_UTIL::XMLTag* pChild : *tag.m_pChildren) {
        for (std::string& line : LinesOf(*pChild, nLevel + 1)) lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace nbitest
