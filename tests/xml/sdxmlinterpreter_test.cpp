#include "nbiutil/sdxmlinterpreter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <thread>

#include "support/lockfailure.h"
#include "xml/interpretertesting.h"
#include "xml/staticdescxmlparser.h"

namespace NS_UTIL {
namespace {

using nbitest::CallingInterpreter;
using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::LockKind;
using nbitest::Mgr;
using nbitest::NO_FAILING_LOCKS;
using nbitest::NotingInterpreter;
using nbitest::SDXMLInterpreterMgrTest;
using nbitest::Silence;

TEST_F(SDXMLInterpreterMgrTest, DestroyForgetsTheMacros)
{
    Mgr().AddMacorValue("M", 1);
    SDXMLInterpreterMgr::Destroy();
    EXPECT_EQ(Mgr().ParseInt("M"), 0);
}

TEST_F(SDXMLInterpreterMgrTest, InitialDoesNothing)
{
    Note("doc.xml");
    Mgr().AddMacorValue("M", 1);
    Mgr().Initial();
    EXPECT_NE(Mgr().GetInterpreter("doc.xml"), nullptr);
    EXPECT_EQ(Mgr().ParseInt("M"), 1);
}

TEST_F(SDXMLInterpreterMgrTest, InterpreterIsFoundUnderItsName)
{
    int nDeleted = 0;
    SDXMLInterpreter* const pInterpreter = Counted(nDeleted);
    Mgr().RegisterInterpreter("doc.xml", pInterpreter);
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), pInterpreter);
    EXPECT_EQ(Mgr().GetInterpreter("doc"), nullptr);
    EXPECT_EQ(Mgr().GetInterpreter(""), nullptr);
    Mgr().Clear();
    EXPECT_EQ(nDeleted, 1);
}

TEST_F(SDXMLInterpreterMgrTest, ReplacedInterpreterIsNotDeletedAndClearDeletesOnlyTheSecond)
{
    int nFirst = 0;
    int nSecond = 0;
    const std::unique_ptr<SDXMLInterpreter> first(Counted(nFirst));
    SDXMLInterpreter* const pSecond = Counted(nSecond);
    Mgr().RegisterInterpreter("doc.xml", first.get());
    Mgr().RegisterInterpreter("doc.xml", pSecond);
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), pSecond);
    Mgr().Clear();
    EXPECT_EQ(nFirst, 0);
    EXPECT_EQ(nSecond, 1);
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), nullptr);
}

TEST_F(SDXMLInterpreterMgrTest, ClearKeepsMacrosAndFileName)
{
    Mgr().AddMacorValue("M", 3);
    Mgr().setFileName("a/b.xml");
    Mgr().Clear();
    EXPECT_EQ(Mgr().ParseInt("M"), 3);
    EXPECT_EQ(Mgr().getFileName(), "b.xml");
}

TEST_F(SDXMLInterpreterMgrTest, DestroyDeletesTheInterpreters)
{
    int nDeleted = 0;
    Mgr().RegisterInterpreter("a", Counted(nDeleted));
    Mgr().RegisterInterpreter("b", Counted(nDeleted));
    SDXMLInterpreterMgr::Destroy();
    EXPECT_EQ(nDeleted, 2);
}

TEST_F(SDXMLInterpreterMgrTest, InterpreterUnderTwoKeysIsDeletedOnce)
{
    int nDeleted = 0;
    SDXMLInterpreter* const pInterpreter = Counted(nDeleted);
    Mgr().RegisterInterpreter("a", pInterpreter);
    Mgr().RegisterInterpreter("b", pInterpreter);
    Mgr().Clear();
    EXPECT_EQ(nDeleted, 1);
}

TEST_F(SDXMLInterpreterMgrTest, NullInterpreterIsNoInterpreter)
{
    Mgr().RegisterInterpreter("doc.xml", nullptr);
    Mgr().setFileName("doc.xml");
    EXPECT_FALSE(ParseBuffer("<r/>"));
    Mgr().Clear();
}

TEST_F(SDXMLInterpreterMgrTest, DestructorOfAnInterpreterMayCallTheManager)
{
    const auto useManager = [] {
        Mgr().AddMacorValue("M", 1);
        Mgr().RegisterInterpreter("gone", nullptr);
        EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), nullptr);
        Mgr().Clear();
    };
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter([] {}, useManager));
    Mgr().Clear();
    EXPECT_EQ(Mgr().ParseInt("M"), 1);
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter([] {}, useManager));
    SDXMLInterpreterMgr::Destroy();
}

TEST_F(SDXMLInterpreterMgrTest, DestructorsStillFindTheManagerThatIsBeingDestroyed)
{
    SDXMLInterpreterMgr* const pMgr = SDXMLInterpreterMgr::Instance();
    SDXMLInterpreterMgr* pFound = nullptr;
    Mgr().RegisterInterpreter(
        "doc.xml", new CallingInterpreter([] {}, [&] { pFound = SDXMLInterpreterMgr::Instance(); }));
    SDXMLInterpreterMgr::Destroy();
    EXPECT_EQ(pFound, pMgr);
}

TEST_F(SDXMLInterpreterMgrTest, FileNameIsWhatFollowsTheLastSlash)
{
    EXPECT_EQ(Mgr().getFileName(), "");
    Mgr().setFileName("/a/b.c/tables.xml");
    EXPECT_EQ(Mgr().getFileName(), "tables.xml");
    Mgr().setFileName("plain.xml");
    EXPECT_EQ(Mgr().getFileName(), "plain.xml");
    Mgr().setFileName("folder/");
    EXPECT_EQ(Mgr().getFileName(), "");
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntGivesAMacrosValue)
{
    Mgr().AddMacorValue("MAX", 64);
    EXPECT_EQ(Mgr().ParseInt("MAX"), 64);
    Mgr().AddMacorValue("MAX", -1);
    EXPECT_EQ(Mgr().ParseInt("MAX"), -1);
    EXPECT_EQ(Mgr().ParseInt("max"), 0);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntGivesTheNumberAtTheBeginning)
{
    EXPECT_EQ(Mgr().ParseInt("12abc"), 12);
    EXPECT_EQ(Mgr().ParseInt("abc"), 0);
    EXPECT_EQ(Mgr().ParseInt(" \t-7 8"), -7);
    EXPECT_EQ(Mgr().ParseInt("+5"), 5);
    EXPECT_EQ(Mgr().ParseInt("0x10"), 0);
    EXPECT_EQ(Mgr().ParseInt("010"), 10);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntCutsTo32Bits)
{
    EXPECT_EQ(Mgr().ParseInt("2147483647"), INT_MAX);
    EXPECT_EQ(Mgr().ParseInt("2147483648"), INT_MIN);
    EXPECT_EQ(Mgr().ParseInt("4294967296"), 0);
    EXPECT_EQ(Mgr().ParseInt("99999999999999999999"), -1);
    EXPECT_EQ(Mgr().ParseInt("-99999999999999999999"), 0);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntAsksMacrosFirstAlsoForNamesOfDigits)
{
    Mgr().AddMacorValue("12", 7);
    Mgr().AddMacorValue("-1", 8);
    EXPECT_EQ(Mgr().ParseInt("12"), 7);
    EXPECT_EQ(Mgr().ParseInt("-1"), 8);
    EXPECT_EQ(Mgr().ParseInt("12 "), 12);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntOfNothingIsZeroEvenWithAMacroWithoutAName)
{
    Mgr().AddMacorValue("", 9);
    EXPECT_EQ(Mgr().ParseInt(""), 0);
    EXPECT_EQ(Mgr().ParseInt(nullptr), 0);
}

class SDXMLFailedLockTest : public SDXMLInterpreterMgrTest {
protected:
    void SetUp() override
    {
        if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
        Mgr().AddMacorValue("M", 3);
        Note("doc.xml");
    }
};

TEST_F(SDXMLFailedLockTest, ReadersAnswerWithoutTheLock)
{
    FailingLocks failing(LockKind::READ, 3);
    EXPECT_EQ(Mgr().ParseInt("M"), 3);
    EXPECT_NE(Mgr().GetInterpreter("doc.xml"), nullptr);
    EXPECT_EQ(Mgr().getFileName(), "");
    EXPECT_EQ(failing.Left(), 0);
    Mgr().AddMacorValue("M", 4);  // would block if a reader were still counted
    EXPECT_EQ(Mgr().ParseInt("M"), 4);
}

TEST_F(SDXMLFailedLockTest, WritersGoOnWithoutTheLock)
{
    {
        FailingLocks failing(LockKind::WRITE, 3);
        Mgr().AddMacorValue("M", 5);
        Mgr().setFileName("a/b");
        Mgr().Clear();
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_EQ(Mgr().ParseInt("M"), 5);
    EXPECT_EQ(Mgr().getFileName(), "b");
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), nullptr);
}

TEST_F(SDXMLFailedLockTest, RegistryGoesOnWithoutTheLock)
{
    TEParserFuncRegistry& registry = *TEParserFuncRegistry::Instance();
    const FailingLocks readers(LockKind::READ, 10);
    const FailingLocks writers(LockKind::WRITE, 10);
    EXPECT_EQ(registry.Find({"failed", "lock", ""}), nullptr);
    EXPECT_EQ(registry.RemoveBySecond("lock"), 1U);
}

TEST(SDXMLFailedStaticLockTest, ReservedElementsAreSkippedWithoutAManager)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    SDXMLInterpreterMgr::Destroy();
    SDXMLInterpreter base;
    StaticDescXMLParser parser;
    const std::string text = "<r><macro_desc M='1'/><include f='/'/></r>";
    {
        const Silence silence;
        ASSERT_TRUE(parser.ParseText(text.data(), text.size()));
    }
    const FailingLocks failing(LockKind::MUTEX, 10);
    EXPECT_EQ(base.InterpretXMLTag(parser.Root()), 0);
}

int AnswerWithOne(const XMLTag& /*tag*/, TEParserPara* /*para*/)
{
    return 1;
}

TEST_F(SDXMLInterpreterMgrTest, ManyThreadsMayUseRegistryMacrosAndNames)
{
    constexpr int ROUNDS = 500;
    constexpr int THREADS = 4;
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    SDXMLInterpreter* const pInterpreter = new NotingInterpreter(m_Seen);
    for (int nThread = 0; nThread < THREADS; ++nThread) {
        threads.emplace_back([nThread, pInterpreter] {
            const std::string own = "M" + std::to_string(nThread);
            std::string list = "[";
            list.append(own).append("-").append(own).append(",SHARED]");
            SDXMLInterpreter interpreter;
            const XMLTag tag;
            for (int i = 0; i < ROUNDS; ++i) {
                Mgr().AddMacorValue(own, i);
                Mgr().AddMacorValue("SHARED", i);
                EXPECT_EQ(Mgr().ParseInt(own.c_str()), i);
                std::vector<int> numbers;
                Mgr().ParseIntList(list.c_str(), numbers);
                EXPECT_EQ(numbers.size(), 2U);
                Mgr().RegisterInterpreter(own, pInterpreter);
                EXPECT_EQ(Mgr().GetInterpreter(own), pInterpreter);
                Mgr().setFileName("folder/" + own);
                EXPECT_EQ(Mgr().getFileName().size(), own.size());
                const TEParserKey key(own, "second", std::to_string(i % 10));
                TEParserFuncRegistry::Instance()->Register(key, &AnswerWithOne);
                EXPECT_EQ(interpreter.AppXMLParseFunc(key, tag, nullptr), 1);
                interpreter.AppXMLParseFunc({"shared", "other", std::to_string(i)}, tag, nullptr);
                TEParserFuncRegistry::Instance()->Remove(key);
                TEParserFuncRegistry::Instance()->RemoveBySecond("none");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Mgr().ParseInt("SHARED"), ROUNDS - 1);
}

}  // namespace
}  // namespace NS_UTIL
