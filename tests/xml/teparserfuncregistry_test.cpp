#include "nbiutil/sdxmlinterpreter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <type_traits>

#include "support/lockfailure.h"

namespace NS_UTIL {

/// The application's own type: the library only passes pointers to it through.
class TEParserPara {
public:
    int m_nValue = 0;
};

namespace {

/// The Itanium ABI gives a virtual member's pointer as one more than its place in the table, in bytes.
template <class Member>
std::size_t SlotOf(Member member)
{
    std::ptrdiff_t nPlace = 0;
    std::memcpy(&nPlace, &member, sizeof(nPlace));
    return static_cast<std::size_t>(nPlace - 1) / sizeof(void*);
}

TEST(SDXMLInterpreterTest, SlotsAreInterpretDestructorAppFunction)
{
    EXPECT_EQ(SlotOf(&SDXMLInterpreter::InterpretXMLTag), 0U);
    EXPECT_EQ(SlotOf(&SDXMLInterpreter::AppXMLParseFunc), 3U);  // a destructor takes two
    EXPECT_TRUE(std::has_virtual_destructor_v<SDXMLInterpreter>);
}

TEST(SDXMLInterpreterTest, HasNoDataOfItsOwn)
{
    EXPECT_EQ(sizeof(SDXMLInterpreter), sizeof(void*));
}

int AddChildren(const XMLTag& tag, TEParserPara* para)
{
    para->m_nValue += tag.m_nId;
    return 17;
}

int AnswerOne(const XMLTag& /*tag*/, TEParserPara* /*para*/)
{
    return 1;
}

TEST(SDXMLInterpreterTest, AppXMLParseFuncCallsTheRegisteredFunctionAndReturnsItsResult)
{
    TEParserFuncRegistry::Instance()->Register({"a", "b", "c"}, &AddChildren);
    SDXMLInterpreter interpreter;
    XMLTag tag;
    tag.m_nId = 5;
    TEParserPara para;
    EXPECT_EQ(interpreter.AppXMLParseFunc({"a", "b", "c"}, tag, &para), 17);
    EXPECT_EQ(para.m_nValue, 5);
}

TEST(SDXMLInterpreterTest, AppXMLParseFuncIsZeroWithoutAFunction)
{
    SDXMLInterpreter interpreter;
    const XMLTag tag;
    EXPECT_EQ(interpreter.AppXMLParseFunc({"a", "b", "none"}, tag, nullptr), 0);
}

TEST(TEParserKeyTest, IsOrderedByItsTextsInTurnByteByByte)
{
    const TEParserKey key("b", "b", "b");
    EXPECT_LT(TEParserKey("a", "z", "z"), key);
    EXPECT_LT(TEParserKey("b", "a", "z"), key);
    EXPECT_LT(TEParserKey("b", "b", "a"), key);
    EXPECT_FALSE(key < key);
    EXPECT_LT(key, TEParserKey("b", "b", "\xC3"));
    EXPECT_LT(TEParserKey("b", "b", ""), key);
    EXPECT_LT(TEParserKey("B", "b", "b"), key);
}

TEST(TEParserKeyTest, IsAPolymorphicValue)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<TEParserKey>);
    TEParserKey key("a", "b", "c");
    const TEParserKey copy = key;
    key = TEParserKey("x", "y", "z");
    EXPECT_EQ(copy.First() + copy.Second() + copy.Third(), "abc");
    EXPECT_EQ(key.First() + key.Second() + key.Third(), "xyz");
}

class TEParserFuncRegistryTest : public ::testing::Test {
protected:
    TEParserFuncRegistryTest()
    {
        for (const char* pSecond : {"alarm", "alarms", "table"}) m_Registry.RemoveBySecond(pSecond);
    }

    TEParserFuncRegistry& m_Registry = *TEParserFuncRegistry::Instance();
    const TEParserKey m_Key{"table", "alarm", "column"};
};

TEST_F(TEParserFuncRegistryTest, LaterFunctionReplacesTheEarlier)
{
    m_Registry.Register(m_Key, &AddChildren);
    m_Registry.Register(m_Key, &AnswerOne);
    EXPECT_EQ(m_Registry.Find(m_Key), &AnswerOne);
}

TEST_F(TEParserFuncRegistryTest, RemovedKeyHasNoFunction)
{
    m_Registry.Register(m_Key, &AnswerOne);
    EXPECT_EQ(m_Registry.Remove(m_Key), 1U);
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
}

TEST_F(TEParserFuncRegistryTest, LookUpEntersAnAbsentKeyOnceWithoutAFunction)
{
    EXPECT_EQ(m_Registry.Remove(m_Key), 0U);
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
    EXPECT_EQ(m_Registry.Remove(m_Key), 1U);
}

TEST_F(TEParserFuncRegistryTest, FunctionMayBeRegisteredAfterALookUp)
{
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
    m_Registry.Register(m_Key, &AnswerOne);
    EXPECT_EQ(m_Registry.Find(m_Key), &AnswerOne);
}

TEST_F(TEParserFuncRegistryTest, FunctionRegisteredWhileALookUpFindsNothingStays)
{
    if (!nbitest::CanFailLocks()) GTEST_SKIP() << nbitest::NO_FAILING_LOCKS;
    m_Registry.Remove(m_Key);
    {
        // A look-up that has found nothing takes the lock for writing; another thread was faster.
        const nbitest::BeforeNextLock before(nbitest::LockKind::WRITE, [this] {
            std::thread([this] { m_Registry.Register(m_Key, &AnswerOne); }).join();
        });
        EXPECT_EQ(m_Registry.Find(m_Key), &AnswerOne);
    }
    EXPECT_EQ(m_Registry.Find(m_Key), &AnswerOne);
}

TEST_F(TEParserFuncRegistryTest, RemovingBySecondTextTakesEveryKeyThatHasIt)
{
    m_Registry.Register({"a", "alarm", "x"}, &AnswerOne);
    m_Registry.Register({"b", "alarm", "y"}, &AnswerOne);
    m_Registry.Register({"alarm", "table", "alarm"}, &AnswerOne);
    m_Registry.Register({"c", "alarms", ""}, &AnswerOne);
    EXPECT_EQ(m_Registry.RemoveBySecond("alarm"), 2U);
    EXPECT_EQ(m_Registry.RemoveBySecond("alarm"), 0U);
    EXPECT_EQ(m_Registry.Find({"a", "alarm", "x"}), nullptr);
    EXPECT_EQ(m_Registry.Find({"alarm", "table", "alarm"}), &AnswerOne);
    EXPECT_EQ(m_Registry.Find({"c", "alarms", ""}), &AnswerOne);
}

}  // namespace
}  // namespace NS_UTIL
