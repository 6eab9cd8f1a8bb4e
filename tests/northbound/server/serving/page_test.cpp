#include "server/serving/page.h"

#include <gtest/gtest.h>

namespace northbound {
namespace {

struct Named {
    std::string m_Name;
    std::string m_Text;

    std::string Key() const { return m_Name; }
    std::vector<std::string> Texts() const { return {m_Name, m_Text}; }
};

std::vector<Named> Many(int nCount, std::size_t nBytes)
{
    std::vector<Named> all;
    for (int i = nCount; i-- > 0;) all.push_back({std::to_string(10000 + i), std::string(nBytes, 'x')});
    return all;
}

TEST(PageTest, ListThatFitsIsOnePageInTheOrderOfItsKeys)
{
    const Page<Named> page = PageBehind("", Many(3, 1));
    ASSERT_EQ(page.m_Items.size(), 3u);
    EXPECT_EQ(page.m_Items[0].m_Name, "10000");
    EXPECT_EQ(page.m_Items[2].m_Name, "10002");
    EXPECT_EQ(page.m_Next, "");
    EXPECT_TRUE(PageBehind("", Many(0, 0)).m_Items.empty());
}

TEST(PageTest, PagesFitAMessageAndHoldEachItemOnce)
{
    int nItems = 0;
    int nPages = 0;
    std::string after;
    do {
        const Page<Named> page = PageBehind(after, Many(1000, 200));
        std::size_t nBytes = 0;
        for (const Named& item : page.m_Items) {
            EXPECT_EQ(item.m_Name, std::to_string(10000 + nItems++));
            nBytes += item.m_Name.size() + item.m_Text.size();
        }
        EXPECT_LT(nBytes, MAX_MESSAGE);
        after = page.m_Next;
        ++nPages;
    } while (!after.empty());
    EXPECT_EQ(nItems, 1000);
    EXPECT_GT(nPages, 3);
}

TEST(PageTest, ItemThatGoesBetweenTwoPagesChangesNothingAboutTheOthers)
{
    const Page<Named> first = PageBehind("", Many(1000, 200));
    std::vector<Named> later = Many(1000, 200);
    later.erase(std::remove_if(later.begin(), later.end(),
                               [&](const Named& item) { return item.m_Name == first.m_Next; }),
                later.end());
    EXPECT_EQ(PageBehind(first.m_Next, later).m_Items[0].m_Name, std::to_string(std::stoi(first.m_Next) + 1));
}

TEST(PageTest, ItemThatFitsNoMessageIsAPageOfItsOwn)
{
    const Page<Named> page = PageBehind("", Many(2, MAX_MESSAGE));
    EXPECT_EQ(page.m_Items.size(), 1u);
    EXPECT_EQ(page.m_Next, "10000");
}

}  // namespace
}  // namespace northbound
