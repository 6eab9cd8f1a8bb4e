#include "xml/intlist.h"

#include <gtest/gtest.h>

#include <climits>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "nbiutil/sdxmlinterpreter.h"
#include "xml/listmodel.h"

namespace NS_UTIL {
namespace {

using nbitest::ListModel;
using Numbers = std::vector<int>;
using Lists = std::list<std::list<int>>;

class IntListTest : public ::testing::Test {
protected:
    IntListTest()
    {
        m_pMgr->AddMacorValue("MAX", 64);
        m_pMgr->AddMacorValue("NEGATIVE", -3);
        m_pMgr->AddMacorValue("12", 7);
        m_pMgr->AddMacorValue("_a1", 5);
    }
    ~IntListTest() override { SDXMLInterpreterMgr::Destroy(); }

    /// Both forms, which must agree.
    Numbers List(const char* pText) const
    {
        Numbers numbers{99};
        std::list<int> list{98};
        m_pMgr->ParseIntList(pText, numbers);
        m_pMgr->ParseIntList(pText, list);
        EXPECT_EQ(numbers, Numbers(list.begin(), list.end()));
        return numbers;
    }
    Lists Nesting(const std::string& text) const
    {
        Lists lists{{99}};
        m_pMgr->ParseNestingList(text.c_str(), lists);
        return lists;
    }

    SDXMLInterpreterMgr* const m_pMgr = SDXMLInterpreterMgr::Instance();
};

TEST_F(IntListTest, ItemsOfAClosedListAllCount)
{
    EXPECT_EQ(List("[1,2,3]"), (Numbers{1, 2, 3}));
}

TEST_F(IntListTest, ListThatIsNotClosedLosesItsLastItem)
{
    EXPECT_EQ(List("1,2,3"), (Numbers{1, 2}));
    EXPECT_EQ(List("[1-3"), (Numbers{}));
}

TEST_F(IntListTest, OpeningBracketIsNotNeeded)
{
    EXPECT_EQ(List("1,2]"), (Numbers{1, 2}));
}

TEST_F(IntListTest, EmptyItemRepeatsTheValueBeforeIt)
{
    EXPECT_EQ(List("[1,,2]"), (Numbers{1, 1, 2}));
    EXPECT_EQ(List("[,]"), (Numbers{0, 0}));
}

TEST_F(IntListTest, EmptyBracketsAreOneZero)
{
    EXPECT_EQ(List("[]"), (Numbers{0}));
}

TEST_F(IntListTest, RangeHoldsBothItsEnds)
{
    EXPECT_EQ(List("[1-3,7]"), (Numbers{1, 2, 3, 7}));
    EXPECT_EQ(List("[4-4]"), (Numbers{4}));
}

TEST_F(IntListTest, RangeThatFallsIsEmptyAndOver)
{
    EXPECT_EQ(List("[3-1]"), (Numbers{}));
    EXPECT_EQ(List("[3-1,5,7]"), (Numbers{5, 7}));
    EXPECT_EQ(List("[3-1]5]"), (Numbers{5}));
}

TEST_F(IntListTest, RangeMayEndWithABracketAndTheListGoOn)
{
    EXPECT_EQ(List("[1-2][8-9]"), (Numbers{1, 2, 8, 9}));
}

TEST_F(IntListTest, LaterDashMovesTheStartOfTheRange)
{
    EXPECT_EQ(List("[1-5-6]"), (Numbers{5, 6}));
}

TEST_F(IntListTest, DashIsNoSign)
{
    EXPECT_EQ(List("[-2]"), (Numbers{0, 1, 2}));
    EXPECT_EQ(List("[5,-2]"), (Numbers{5}));
}

TEST_F(IntListTest, EmptyEndOfARangeIsItsStart)
{
    EXPECT_EQ(List("[4-]"), (Numbers{4}));
}

TEST_F(IntListTest, MacroCarriesANegativeNumber)
{
    EXPECT_EQ(List("[NEGATIVE]"), (Numbers{-3}));
    EXPECT_EQ(List("[NEGATIVE-1]"), (Numbers{-3, -2, -1, 0, 1}));
}

TEST_F(IntListTest, MacrosAreAskedBeforeNumbersAlsoForNamesOfDigits)
{
    EXPECT_EQ(List("[12,13,MAX,_a1]"), (Numbers{7, 13, 64, 5}));
    EXPECT_EQ(List("[012]"), (Numbers{12}));
}

TEST_F(IntListTest, TokenThatIsNeitherMacroNorNumberIsZero)
{
    EXPECT_EQ(List("[none,12abc]"), (Numbers{0, 12}));
}

TEST_F(IntListTest, BlankEndsAToken)
{
    EXPECT_EQ(List("[ 1 , 2 ]"), (Numbers{1, 2}));
    EXPECT_EQ(List("[1 2]"), (Numbers{2}));
    EXPECT_EQ(List("[1 - 3]"), (Numbers{1, 2, 3}));
    EXPECT_EQ(List("[M AX]"), (Numbers{0}));
}

TEST_F(IntListTest, OtherCharactersOnlyEndAToken)
{
    EXPECT_EQ(List("[1.5,\xC3\xA4"
                   "7+8]"),
              (Numbers{5, 8}));
}

TEST_F(IntListTest, TextWithoutACommaOrBracketIsEmpty)
{
    EXPECT_EQ(List(""), (Numbers{}));
    EXPECT_EQ(List("["), (Numbers{}));
    EXPECT_EQ(List("17"), (Numbers{}));
}

TEST_F(IntListTest, NullTextIsAnEmptyList)
{
    EXPECT_EQ(List(nullptr), (Numbers{}));
}

TEST_F(IntListTest, RangeUpToTheGreatestNumberEnds)
{
    EXPECT_EQ(List("[2147483645-2147483647,1]"), (Numbers{INT_MAX - 2, INT_MAX - 1, INT_MAX, 1}));
    EXPECT_EQ(List("[2147483647-2147483647]"), (Numbers{INT_MAX}));
}

TEST_F(IntListTest, RangeFromTheLeastNumberDoesNotOverflow)
{
    m_pMgr->AddMacorValue("MIN", INT_MIN);
    m_pMgr->AddMacorValue("MIN1", INT_MIN + 1);
    EXPECT_EQ(List("[MIN-MIN1]"), (Numbers{INT_MIN, INT_MIN + 1}));
}

TEST_F(IntListTest, NumbersAreCutTo32Bits)
{
    EXPECT_EQ(List("[4294967297,2147483648]"), (Numbers{1, INT_MIN}));
    EXPECT_EQ(List("[99999999999999999999]"), (Numbers{-1}));  // the greatest long, cut
}

TEST_F(IntListTest, TokenOfOverAThousandCharactersIsTakenWhole)
{
    const std::string name(5000, 'n');
    m_pMgr->AddMacorValue(name, 77);
    EXPECT_EQ(List(("[" + name + "]").c_str()), (Numbers{77}));
    EXPECT_EQ(List(("[" + name + "n]").c_str()), (Numbers{0}));
    EXPECT_EQ(List(("[" + std::string(1500, '0') + "42]").c_str()), (Numbers{42}));
}

TEST_F(IntListTest, TokensMayHoldTheFirstAndTheLastOfLettersAndDigits)
{
    const std::string name = "_azAZ09_";
    m_pMgr->AddMacorValue(name, 77);
    EXPECT_EQ(List(("[" + name + "]").c_str()), (Numbers{77}));
}

TEST_F(IntListTest, NestingListOfListsMacroAndNumber)
{
    EXPECT_EQ(Nesting("{[1,2];[5-7];MAX;9}"), (Lists{{1, 2}, {5, 6, 7}, {64}, {9}}));
}

TEST_F(IntListTest, NestingListDropsBlanksAndTabsEvenInsideTokens)
{
    EXPECT_EQ(Nesting(" {\t[1 , 2] ; M A X }"), (Lists{{1, 2}, {64}}));
}

TEST_F(IntListTest, NestingListTakesAnyRunOfSeparatorsAsOne)
{
    EXPECT_EQ(Nesting("{{;1;;2}}{3"), (Lists{{1}, {2}, {3}}));
    EXPECT_EQ(Nesting(""), (Lists{}));
    EXPECT_EQ(Nesting("{;}"), (Lists{}));
}

TEST_F(IntListTest, NestingListKeepsAListThatComesOutEmpty)
{
    EXPECT_EQ(Nesting("{[3-1];[4];[5}"), (Lists{{}, {4}, {}}));
}

TEST_F(IntListTest, NestingListReadsASignOutsideBrackets)
{
    EXPECT_EQ(Nesting("{-5;+6;none;1,2]}"), (Lists{{-5}, {6}, {0}, {1}}));
}

TEST_F(IntListTest, NestingListLeavesTheResultUntouchedForANullText)
{
    Lists lists{{1}, {2}};
    m_pMgr->ParseNestingList(nullptr, lists);
    EXPECT_EQ(lists, (Lists{{1}, {2}}));
}

TEST_F(IntListTest, NestingTextOfOver1023CharactersIsReadWhole)
{
    std::string text = "{";
    Lists expected;
    for (int i = 100; i < 3000; ++i) {
        text += "[" + std::to_string(i) + "];";
        expected.push_back({i});
    }
    EXPECT_EQ(Nesting(text + "}"), expected);
}

TEST_F(IntListTest, TwentyThousandRandomTextsAgreeWithASecondReading)
{
    static constexpr const char* PIECES[] = {
        "[",   "]",   "]",  ",",   ",", "-", "{",  ";",        "}", " ",          "\t", "1",    "2", "30",
        "999", "MAX", "12", "_a1", "x", "_", "\n", "NEGATIVE", "M", "4294967297", "+",  "\xE4", "7"};
    const ListModel model({{"MAX", 64}, {"NEGATIVE", -3}, {"12", 7}, {"_a1", 5}}, 10000);
    std::minstd_rand random(20240601);
    for (int nCompared = 0; nCompared < 20000;) {
        std::string text;
        for (unsigned long nLeft = random() % 25; nLeft > 0; --nLeft) {
            text += PIECES[random() % std::size(PIECES)];
        }
        const auto list = model.List(text);
        const auto nesting = model.NestingList(text);
        if (!list || !nesting) continue;  // a range too long to be worth the memory
        SCOPED_TRACE(text);
        ASSERT_EQ(m_pMgr->ParseInt(text.c_str()), model.Number(text));
        ASSERT_EQ(List(text.c_str()), *list);
        Lists expected;
        for (const Numbers& numbers : *nesting) expected.emplace_back(numbers.begin(), numbers.end());
        ASSERT_EQ(Nesting(text), expected);
        ++nCompared;
    }
}

}  // namespace
}  // namespace NS_UTIL
