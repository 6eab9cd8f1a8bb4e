#include "util/replacetext.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "nbiutil/selfutilcommon.h"

namespace NS_UTIL {
namespace {

std::string PlainLoop(std::string subject, const std::string& from, const std::string& to)
{
    std::size_t nSearch = 0;
    for (std::size_t nFound; (nFound = subject.find(from, nSearch)) != std::string::npos;) {
        subject.replace(nFound, from.size(), to);
        nSearch += to.size();
    }
    return subject;
}

TEST(ReplaceTextTest, SearchGoesOnFromThePreviousStart)
{
    EXPECT_EQ(ReplaceFromStart("xa", "a", "aa"), "xaaa");
    EXPECT_EQ(ReplaceFromStart("a", "a", "xaaa"), PlainLoop("a", "a", "xaaa"));
    EXPECT_EQ(ReplaceFromStart("bab", "b", "ab"), PlainLoop("bab", "b", "ab"));
}

TEST(ReplaceTextTest, RemovalsCascade)
{
    EXPECT_EQ(ReplaceFromStart("aabb", "ab", ""), "");
    EXPECT_EQ(ReplaceFromStart("xaabbaby", "ab", ""), "xy");
    EXPECT_EQ(ReplaceFromStart("aababb", "ab", "b"), PlainLoop("aababb", "ab", "b"));
}

TEST(ReplaceTextTest, StartBehindTheTextEndsTheSearch)
{
    EXPECT_EQ(ReplaceFromStart("aa", "aa", "b"), "b");
    EXPECT_EQ(ReplaceFromStart("aab", "aa", ""), "b");
    EXPECT_EQ(ReplaceFromStart("", "a", "b"), "");
}

/// 100,000 texts, most of them full of occurrences that overlap, form anew or stand in front of the start.
TEST(ReplaceTextTest, EqualsThePlainLoop)
{
    std::mt19937 random(20260101);
    const auto text = [&random](std::size_t nLowest, std::size_t nHighest, int nLetters) {
        std::uniform_int_distribution<std::size_t> length(nLowest, nHighest);
        std::uniform_int_distribution<int> letter('a', 'a' + nLetters - 1);
        std::string made(length(random), ' ');
        for (char& character : made) character = static_cast<char>(letter(random));
        return made;
    };
    for (int i = 0; i < 100000; ++i) {
        const int nLetters = 1 + i % 3;
        const std::string subject = text(0, 20, nLetters);
        const std::string from = text(1, 4, nLetters);
        const std::string to = text(0, 5, nLetters);
        ASSERT_EQ(ReplaceFromStart(subject, from, to), PlainLoop(subject, from, to))
            << subject << ' ' << from << ' ' << to;
    }
}

/// What is quadratic takes minutes here.
TEST(ReplaceTextTest, LongTextsTakeLinearTime)
{
    const std::size_t nSize = 2000000;
    EXPECT_EQ(ReplaceFromStart(std::string(nSize, 'a'), "a", "bb"), std::string(2 * nSize, 'b'));
    EXPECT_EQ(ReplaceFromStart(std::string(nSize, 'a') + std::string(nSize, 'b'), "ab", ""), "");
    const std::string head(nSize / 2, 'a');
    EXPECT_EQ(ReplaceFromStart(head + head + 'b', head + 'b', "c"), head + 'c');
    EXPECT_EQ(ReplaceFromStart(std::string(nSize, 'a'), head + 'b', "c"), std::string(nSize, 'a'));
}

class ReplaceStrTest : public ::testing::Test {
protected:
    void TearDown() override { SelfUtilCommon::Destroy(); }
    void Replace(std::string& subject, const std::string& from, const std::string& to)
    {
        EXPECT_TRUE(SelfUtilCommon::Instance()->replaceStr(subject, from, to));
    }
};

TEST_F(ReplaceStrTest, SubjectMayBeTheTextThatIsReplaced)
{
    std::string subject = "abc";
    Replace(subject, subject, "");
    EXPECT_EQ(subject, "");
    subject = "abc";
    Replace(subject, subject, "xabcabc");
    EXPECT_EQ(subject, PlainLoop("abc", "abc", "xabcabc"));
}

TEST_F(ReplaceStrTest, SubjectMayBeTheNewText)
{
    std::string subject = "banana";
    Replace(subject, "a", subject);
    EXPECT_EQ(subject, PlainLoop("banana", "a", "banana"));
    subject = "aa";
    Replace(subject, subject, subject);
    EXPECT_EQ(subject, "aa");
}

TEST_F(ReplaceStrTest, EmptyTextIsNotReplaced)
{
    std::string subject = "abc";
    Replace(subject, "", "x");
    Replace(subject, "", "");
    EXPECT_EQ(subject, "abc");
}

}  // namespace
}  // namespace NS_UTIL
