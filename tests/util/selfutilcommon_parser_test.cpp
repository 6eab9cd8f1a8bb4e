// What the helpers take apart.
#include <gtest/gtest.h>

#include "nbiutil/selfutilcommon.h"
#include "util/helpers.h"

namespace NS_UTIL {
namespace {

using nbitest::Strings;

// Schemas

TEST(SchemaUtilTest, SharedBitMarksTheAttributeDirty)
{
    ObjectSchema_T schema;
    SchemaUtil::GetSchemaByOperMask(6, 4, "name", schema);
    SchemaUtil::GetSchemaByOperMask(6, 3, "other", schema);
    EXPECT_EQ(schema.m_DirtyAttributes, (std::set<std::string>{"name", "other"}));
}

TEST(SchemaUtilTest, WithoutASharedBitNothingHappens)
{
    ObjectSchema_T schema;
    SchemaUtil::GetSchemaByOperMask(6, 1, "name", schema);
    SchemaUtil::GetSchemaByOperMask(0, -1, "name", schema);
    EXPECT_TRUE(schema.m_DirtyAttributes.empty());
}

TEST(SchemaUtilTest, MaskOfMinusOneMeansNothingHappens)
{
    ObjectSchema_T schema;
    SchemaUtil::GetSchemaByOperMask(-1, 1, "name", schema);
    EXPECT_TRUE(schema.m_DirtyAttributes.empty());
    SchemaUtil::GetSchemaByOperMask(1, -1, "name", schema);
    EXPECT_EQ(schema.m_DirtyAttributes.count("name"), 1u);
}

// Parser

struct NameValue {
    bool m_bResult;
    std::string m_Name;
    std::string m_Value;

    bool operator==(const NameValue& other) const
    {
        return m_bResult == other.m_bResult && m_Name == other.m_Name && m_Value == other.m_Value;
    }
};

NameValue ParseItem(const std::string& item, const std::string& separators)
{
    NameValue parsed{false, "old name", "old value"};
    parsed.m_bResult = Parser::ParseItemNVByTag(item, parsed.m_Name, parsed.m_Value, separators);
    return parsed;
}

TEST(ParserTest, ItemIsSplitAtItsFirstSeparator)
{
    EXPECT_EQ(ParseItem("a=b=c", "="), (NameValue{true, "a", "b=c"}));
}

TEST(ParserTest, WhicheverSeparatorComesFirstSplits)
{
    EXPECT_EQ(ParseItem("a:b=c", ":="), (NameValue{true, "a", "b=c"}));
    EXPECT_EQ(ParseItem("a=b:c", ":="), (NameValue{true, "a", "b:c"}));
}

TEST(ParserTest, NameAndValueMayBeEmpty)
{
    EXPECT_EQ(ParseItem("a=", "="), (NameValue{true, "a", ""}));
    EXPECT_EQ(ParseItem("=b", "="), (NameValue{true, "", "b"}));
}

TEST(ParserTest, WithoutASeparatorTheOutputsStay)
{
    EXPECT_EQ(ParseItem("abc", "="), (NameValue{false, "old name", "old value"}));
    EXPECT_EQ(ParseItem("abc", ""), (NameValue{false, "old name", "old value"}));
    EXPECT_EQ(ParseItem("", "="), (NameValue{false, "old name", "old value"}));
}

TEST(ParserTest, ItemMayBeOneOfTheOutputs)
{
    std::string item = "a=b";
    std::string value;
    EXPECT_TRUE(Parser::ParseItemNVByTag(item, item, value, "="));
    EXPECT_EQ(item, "a");
    EXPECT_EQ(value, "b");
    item = "a=b";
    std::string name;
    EXPECT_TRUE(Parser::ParseItemNVByTag(item, name, item, "="));
    EXPECT_EQ(name, "a");
    EXPECT_EQ(item, "b");
}

Strings PiecesOf(const std::string& source, const std::string& separator)
{
    Strings pieces;
    Parser::SplitStrByTag(source, separator, pieces);
    return pieces;
}

TEST(ParserTest, EmptyPiecesAreKept)
{
    EXPECT_EQ(PiecesOf("a;;b", ";"), (Strings{"a", "", "b"}));
    EXPECT_EQ(PiecesOf(";a", ";"), (Strings{"", "a"}));
    EXPECT_EQ(PiecesOf("", ";"), (Strings{""}));
}

TEST(ParserTest, TrailingSeparatorGivesAFinalEmptyPiece)
{
    EXPECT_EQ(PiecesOf("a;b;", ";"), (Strings{"a", "b", ""}));
}

TEST(ParserTest, PiecesAreNotTrimmed)
{
    EXPECT_EQ(PiecesOf(" a ; b ", ";"), (Strings{" a ", " b "}));
}

TEST(ParserTest, WholeSeparatorSplitsLeftToRight)
{
    EXPECT_EQ(PiecesOf("a::b:c:::d", "::"), (Strings{"a", "b:c", ":d"}));
}

TEST(ParserTest, PiecesAreAppended)
{
    Strings pieces{"before"};
    Parser::SplitStrByTag("a,b", ",", pieces);
    EXPECT_EQ(pieces, (Strings{"before", "a", "b"}));
}

TEST(ParserTest, EmptySeparatorMeansOnePiece)
{
    EXPECT_EQ(PiecesOf("abc", ""), (Strings{"abc"}));
}

TEST(ParserTest, SourceMayBeAnElementOfTheVector)
{
    Strings pieces{"a,b,c"};
    pieces.shrink_to_fit();
    Parser::SplitStrByTag(pieces[0], ",", pieces);
    EXPECT_EQ(pieces, (Strings{"a,b,c", "a", "b", "c"}));
}

}  // namespace
}  // namespace NS_UTIL
