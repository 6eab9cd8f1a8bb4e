#include "nbiutil/xmltag.h"

#include <gtest/gtest.h>

#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <type_traits>

#include "xml/xmltesting.h"

namespace NS_UTIL {
namespace {

using nbitest::PrintedBy;
using nbitest::RunOnSmallStack;
using nbitest::Silence;

char* NewText(const std::string& text)
{
    char* const pText = new char[text.size() + 1];
    std::memcpy(pText, text.c_str(), text.size() + 1);
    return pText;
}

XMLTag& AddChild(XMLTag& parent, const std::string& name, int nId = -1)
{
    if (parent.m_pChildren == nullptr) parent.m_pChildren = new XMLTagList;
    auto* const pChild = new XMLTag;
    pChild->m_Name = name;
    pChild->m_nId = nId;
    parent.m_pChildren->push_back(pChild);
    return *pChild;
}

void SetItem(XMLTag& tag, const std::string& name, const std::string& value, const std::string& printValue)
{
    tag.m_pItems = new XMLItem* [2] {};
    tag.m_pItems[0] = new XMLItem;
    tag.m_pItems[0]->m_pName = NewText(name);
    tag.m_pItems[0]->m_pValue = NewText(value);
    tag.m_pItems[0]->m_pPrintValue = NewText(printValue);
}

/// \p nLevels elements, one inside the other.
void Nest(XMLTag& root, int nLevels)
{
    XMLTag* pTag = &root;
    pTag->m_Name = "e";
    for (int i = 1; i < nLevels; ++i) pTag = &AddChild(*pTag, "e");
}

/// root( a(1: x, y) , b(2), a(3) )
class XMLTagTest : public ::testing::Test {
protected:
    XMLTagTest()
    {
        m_Root.m_Name = "root";
        XMLTag& first = AddChild(m_Root, "a", 1);
        m_pFirst = &first;
        AddChild(first, "x", 5);
        m_pLeaf = &AddChild(first, "y", 6);
        m_pMiddle = &AddChild(m_Root, "b", 2);
        AddChild(m_Root, "a", 3);
    }

    XMLTag* Find(std::vector<std::string> names) const
    {
        std::vector<char*> path;
        path.reserve(names.size() + 1);
        for (std::string& name : names) path.push_back(name.data());
        path.push_back(nullptr);
        XMLTag* pFound = nullptr;
        const bool bFound = m_Root.getTag(path.data(), &pFound);
        EXPECT_EQ(bFound, pFound != nullptr);
        return pFound;
    }
    XMLTag* Find(std::vector<int> path) const
    {
        path.push_back(0);
        XMLTag* pFound = nullptr;
        const bool bFound = m_Root.getTag(path.data(), &pFound);
        EXPECT_EQ(bFound, pFound != nullptr);
        return pFound;
    }

    XMLTag m_Root;
    XMLTag* m_pFirst = nullptr;
    XMLTag* m_pLeaf = nullptr;
    XMLTag* m_pMiddle = nullptr;
};

using Names = std::vector<std::string>;
using Numbers = std::vector<int>;

TEST(XMLItemTest, IsMadeWithIdentifierMinusOneAndNullArrays)
{
    const XMLItem item;
    EXPECT_EQ(item.m_nId, -1);
    EXPECT_EQ(item.m_pName, nullptr);
    EXPECT_EQ(item.m_pValue, nullptr);
    EXPECT_EQ(item.m_pPrintValue, nullptr);
}

TEST(XMLItemTest, ReleasesArraysOfWhichSomeAreNull)
{
    XMLItem item;
    item.m_pValue = NewText("value");  // a leak or a bad release shows under a sanitizer
    EXPECT_STREQ(item.m_pValue, "value");
}

TEST(XMLItemTest, ItemOfTheGlobalNewMayBeHandedToATree)
{
    XMLTag root;
    root.m_pItems = new XMLItem* [3] {};
    root.m_pItems[0] = ::new XMLItem;
    root.m_pItems[0]->m_pName = NewText("name");
    root.m_pItems[1] = new (std::nothrow) XMLItem;
    ASSERT_NE(root.m_pItems[1], nullptr);
}

TEST(XMLTagNewTest, PlaceAndFailureMayBeTheCallers)
{
    alignas(XMLTag) unsigned char place[sizeof(XMLTag)];
    auto* const pTag = new (place) XMLTag;
    AddChild(*pTag, "child");
    pTag->~XMLTag();
    alignas(XMLItem) unsigned char itemPlace[sizeof(XMLItem)];
    auto* const pItem = new (itemPlace) XMLItem;
    pItem->m_pName = NewText("name");
    pItem->~XMLItem();
    const std::unique_ptr<XMLTag> tag(new (std::nothrow) XMLTag);
    EXPECT_NE(tag, nullptr);
}

TEST(XMLTagNewTest, ChildrenAreAListOfPointers)
{
    XMLTag root;
    root.m_pChildren = new std::list<XMLTag*>{new XMLTag, ::new XMLTag};
    std::list<XMLTag*> more{new XMLTag};
    root.m_pChildren->splice(root.m_pChildren->end(), more);
    EXPECT_EQ(root.m_pChildren->size(), 3U);
}

TEST(XMLTagNewTest, IsMadeWithIdentifierMinusOneAndNothingBelow)
{
    const XMLTag tag;
    EXPECT_EQ(tag.m_nId, -1);
    EXPECT_EQ(tag.m_Name, "");
    EXPECT_EQ(tag.m_Text, "");
    EXPECT_EQ(tag.m_pItems, nullptr);
    EXPECT_EQ(tag.m_pChildren, nullptr);
}

TEST(XMLTagNewTest, NullChildIsNothingToDelete)
{
    XMLTag root;
    AddChild(root, "before");
    root.m_pChildren->push_back(nullptr);
    AddChild(AddChild(root, "after"), "below");
    EXPECT_EQ(root.m_pChildren->size(), 3U);
}

TEST(XMLTagNewTest, HasOneOwnerAndCannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<XMLTag>);
    EXPECT_FALSE(std::is_copy_constructible_v<XMLItem>);
}

TEST_F(XMLTagTest, EmptyPathLeadsToTheElementItself)
{
    EXPECT_EQ(Find(Names{}), &m_Root);
    EXPECT_EQ(Find(Numbers{}), &m_Root);
}

TEST_F(XMLTagTest, PathOfNamesLeadsDown)
{
    EXPECT_EQ(Find(Names{"a", "y"}), m_pLeaf);
}

TEST_F(XMLTagTest, FirstOfTwoSiblingsOfTheSameNameIsFound)
{
    EXPECT_EQ(Find(Names{"a"}), m_pFirst);
}

TEST_F(XMLTagTest, LookUpDoesNotTurnBackToALaterSibling)
{
    AddChild(*m_Root.m_pChildren->back(), "z");  // below the second "a"
    EXPECT_EQ(Find(Names{"a", "z"}), nullptr);
}

TEST_F(XMLTagTest, PartOfANameDoesNotMatch)
{
    EXPECT_EQ(Find(Names{"aa"}), nullptr);
    EXPECT_EQ(Find(Names{""}), nullptr);
    EXPECT_EQ(Find(Names{"A"}), nullptr);
}

TEST_F(XMLTagTest, LeafHasNothingBelow)
{
    EXPECT_EQ(Find(Names{"b", "x"}), nullptr);
}

TEST_F(XMLTagTest, FailedLookUpLeavesTheResultUntouched)
{
    char name[] = "none";
    char* path[] = {name, nullptr};
    int ids[] = {99, 0};
    XMLTag* pFound = m_pMiddle;
    EXPECT_FALSE(m_Root.getTag(path, &pFound));
    EXPECT_FALSE(m_Root.getTag(ids, &pFound));
    EXPECT_EQ(pFound, m_pMiddle);
}

TEST_F(XMLTagTest, PathOfIdentifiersLeadsDown)
{
    EXPECT_EQ(Find(Numbers{1, 6}), m_pLeaf);
    EXPECT_EQ(Find(Numbers{2}), m_pMiddle);
}

TEST_F(XMLTagTest, FirstOfTwoSiblingsOfTheSameIdentifierIsFound)
{
    AddChild(m_Root, "later", 2);
    EXPECT_EQ(Find(Numbers{2}), m_pMiddle);
}

TEST_F(XMLTagTest, IdentifierZeroEndsThePath)
{
    m_pFirst->m_nId = 0;
    EXPECT_EQ(Find(Numbers{0}), &m_Root);
}

TEST_F(XMLTagTest, IdentifierPathFailsWhereNobodyHasNumberedTheTree)
{
    XMLTag root;
    AddChild(root, "a");
    int path[] = {1, 0};
    XMLTag* pFound = nullptr;
    EXPECT_FALSE(root.getTag(path, &pFound));
}

TEST(XMLTagPrintTest, LeafWithoutLimitIsAnOpeningAndAClosingLine)
{
    XMLTag root;
    root.m_Name = "leaf";
    EXPECT_EQ(PrintedBy([&] { root.print(-1); }), "<tag = leaf\n</tag>\n");
}

TEST(XMLTagPrintTest, ChildrenAreIndentedByATabPerLevel)
{
    XMLTag root;
    root.m_Name = "r";
    SetItem(root, "k", "value", "shown");
    AddChild(AddChild(root, "a"), "b");
    AddChild(root, "c");
    EXPECT_EQ(PrintedBy([&] { root.print(-1); }),
              "<tag = r k = shown\n"
              "\t<tag = a\n"
              "\t\t<tag = b\n"
              "\t\t</tag>\n"
              "\t</tag>\n"
              "\t<tag = c\n"
              "\t</tag>\n"
              "</tag>\n");
}

TEST(XMLTagPrintTest, MaximumDepthZeroIsASingleLine)
{
    XMLTag root;
    root.m_Name = "r";
    SetItem(root, "k", "value", "v");
    AddChild(root, "a");
    EXPECT_EQ(PrintedBy([&] { root.print(0); }), "<tag = r k = v />\n");
}

TEST(XMLTagPrintTest, OnlyMaximumDepthZeroGivesTheShortForm)
{
    XMLTag root;
    root.m_Name = "r";
    AddChild(AddChild(root, "a"), "b");
    EXPECT_EQ(PrintedBy([&] { root.print(1); }), "<tag = r\n\t<tag = a\n\t</tag>\n</tag>\n");
}

TEST(XMLTagPrintTest, NothingIsPrintedBeyondTheMaximumDepth)
{
    XMLTag root;
    int nDepth = 3;
    EXPECT_EQ(PrintedBy([&] { root.print(nDepth, 2); }), "");
    EXPECT_EQ(PrintedBy([&] { root.print(-2); }), "");
    EXPECT_EQ(nDepth, 3);
}

TEST(XMLTagPrintTest, CounterIsTheIndentAndTheSameAfterwards)
{
    XMLTag root;
    root.m_Name = "r";
    AddChild(root, "a");
    int nDepth = 2;
    EXPECT_EQ(PrintedBy([&] { root.print(nDepth, 3); }),
              "\t\t<tag = r\n\t\t\t<tag = a\n\t\t\t</tag>\n\t\t</tag>\n");
    EXPECT_EQ(nDepth, 2);
    PrintedBy([&] { root.print(nDepth, 2); });
    EXPECT_EQ(nDepth, 2);
    PrintedBy([&] { root.print(nDepth, 0); });
    EXPECT_EQ(nDepth, 2);
}

TEST(XMLTagPrintTest, NegativeCounterPrintsNoTabs)
{
    XMLTag root;
    root.m_Name = "r";
    AddChild(root, "a");
    int nDepth = -1;
    EXPECT_EQ(PrintedBy([&] { root.print(nDepth, 0); }), "<tag = r<tag = a />\n />\n");
    EXPECT_EQ(nDepth, -1);
}

TEST(XMLTagPrintTest, PercentSignsInNamesAndValuesArePrintedAsTheyAre)
{
    XMLTag root;
    root.m_Name = "%s%n";
    SetItem(root, "%d", "", "%s");
    EXPECT_EQ(PrintedBy([&] { root.print(0); }), "<tag = %s%n %d = %s />\n");
}

TEST(XMLTagPrintTest, NullTextsOfAnItemArePrintedAsEmpty)
{
    XMLTag root;
    root.m_pItems = new XMLItem* [2] {};
    root.m_pItems[0] = new XMLItem;
    EXPECT_EQ(PrintedBy([&] { root.print(0); }), "<tag =   =  />\n");
}

TEST(XMLTagPrintTest, DeepIndentIsATabPerLevel)
{
    XMLTag root;
    Nest(root, 200);
    int nTabs = 0;
    for (const char character : PrintedBy([&] { root.print(-1); })) nTabs += character == '\t' ? 1 : 0;
    EXPECT_EQ(nTabs, 2 * 199 * 200 / 2);
}

TEST(XMLTagDepthTest, MillionLevelsAreDestroyedAndPrintedToALimitOnASmallStack)
{
    std::string output;
    RunOnSmallStack([&output] {
        XMLTag root;
        Nest(root, 1000000);
        output = PrintedBy([&root] { root.print(100); });
    });
    std::size_t nLines = 0;
    for (const char character : output) nLines += character == '\n' ? 1U : 0U;
    EXPECT_EQ(nLines, 2U * 101U);
}

TEST(XMLTagDepthTest, TenThousandLevelsArePrintedInFullOnASmallStack)
{
    int nDepth = 0;
    RunOnSmallStack([&nDepth] {
        const Silence silence;
        XMLTag root;
        Nest(root, 10000);
        root.print(nDepth, -1);
    });
    EXPECT_EQ(nDepth, 0);
}

TEST(XMLTagDepthTest, WideAndDeepTreeIsDestroyedOnASmallStack)
{
    RunOnSmallStack([] {
        XMLTag root;
        XMLTag* pTag = &root;
        for (int i = 0; i < 100000; ++i) {
            AddChild(*pTag, "before");
            XMLTag* const pNext = &AddChild(*pTag, "down");
            AddChild(*pTag, "after");
            pTag = pNext;
        }
        EXPECT_EQ(root.m_pChildren->size(), 3U);
    });
}

TEST_F(XMLTagTest, ItemsAreWalkedInTheirOrderUpToTheNullPointer)
{
    m_Root.m_pItems = new XMLItem* [4] {};
    m_Root.m_pItems[0] = new XMLItem;
    m_Root.m_pItems[1] = new XMLItem;
    std::vector<const XMLItem*> walked;
    for (const XMLItem* pItem : XMLItems(m_Root)) walked.push_back(pItem);
    EXPECT_EQ(walked, (std::vector<const XMLItem*>{m_Root.m_pItems[0], m_Root.m_pItems[1]}));
}

TEST_F(XMLTagTest, ElementWithoutAnArrayHasNoItems)
{
    const XMLItems items(m_Root);
    EXPECT_EQ(items.begin(), items.end());
}

TEST_F(XMLTagTest, AttributeIsFoundByItsWholeName)
{
    SetItem(m_Root, "name", "value", "shown");
    EXPECT_STREQ(Attribute(m_Root, "name"), "value");
    EXPECT_EQ(Attribute(m_Root, "nam"), nullptr);
    EXPECT_EQ(Attribute(m_Root, "names"), nullptr);
    EXPECT_EQ(Attribute(m_Root, ""), nullptr);
}

TEST_F(XMLTagTest, AttributeOfAnElementWithoutAnyOrWithHalfOnesIsNull)
{
    EXPECT_EQ(Attribute(m_Root, "name"), nullptr);
    m_Root.m_pItems = new XMLItem* [3] {};
    m_Root.m_pItems[0] = new XMLItem;
    m_Root.m_pItems[1] = new XMLItem;
    m_Root.m_pItems[1]->m_pName = NewText("name");
    EXPECT_EQ(Attribute(m_Root, "name"), nullptr);
}

TEST_F(XMLTagTest, FirstOfTwoAttributesOfOneNameCounts)
{
    m_Root.m_pItems = new XMLItem* [3] {};
    for (int i = 0; i < 2; ++i) {
        m_Root.m_pItems[i] = new XMLItem;
        m_Root.m_pItems[i]->m_pName = NewText("name");
    }
    m_Root.m_pItems[0]->m_pValue = NewText("first");
    m_Root.m_pItems[1]->m_pValue = NewText("second");
    EXPECT_STREQ(Attribute(m_Root, "name"), "first");
}

}  // namespace
}  // namespace NS_UTIL
