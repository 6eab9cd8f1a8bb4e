// What the frame of a task makes of a body that fails.
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support/heapwatch.h"
#include "task/nbitasktesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class NBITaskFailedTest : public NBITaskTest {};

TEST_F(NBITaskFailedTest, ProcessExceptionBecomesCodeAndErrorInfoAndALogLine)
{
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:5,Detail:info") << "the info and not the message";
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"file", "function", 12, 1, "ErrCode:5,Detail:message"}}));
}

TEST_F(NBITaskFailedTest, EmptyErrorInfoReplacesOneThatWasThere)
{
    m_AD.SetErrorInfo("preset");
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:5,Detail:");
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_nLine, 12);
}

TEST_F(NBITaskFailedTest, ExceptionThatWasWrittenThroughItsStreamsCountsAsWritten)
{
    TestTask task(m_AD, [] {
        ProcessException exception;
        exception.SetErrorCode(8);
        exception.SetLine(9);
        exception.FileStream() << "file";
        exception.FunctionStream() << "function";
        exception.ErrorInfoStream() << "info " << 1;
        exception.MessageStream() << "message " << 2;
        throw ProcessException(exception);
    });
    task.Run();
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:8,Detail:info 1");
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"file", "function", 9, 1, "message 2"}}));
}

TEST_F(NBITaskFailedTest, ExceptionWithCodeZeroReachesTheCallerAsSuccess)
{
    m_AD.SetErrorCode(99);
    TestTask task(m_AD, [] { throw ProcessException(); });
    task.Run();
    EXPECT_EQ(HowItEnded(m_AD), "success");
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"", "", 0, 1, ""}}));
}

TEST_F(NBITaskFailedTest, FormatCharactersOfAnExceptionAreLoggedAsText)
{
    TestTask task(m_AD, [] { throw ProcessException(5, "%s%n%d %", "%s%n", "f%s", "g%n", 12); });
    task.Run();
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"f%s", "g%n", 12, 1, "ErrCode:5,Detail:%s%n%d %"}}));
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:5,Detail:%s%n");
}

TEST_F(NBITaskFailedTest, AnyOtherExceptionGivesItsFixedCodeAndLeavesTheInfo)
{
    m_AD.SetErrorInfo("preset");
    TestTask task(m_AD, [] { throw 42; });
    task.Run();
    EXPECT_EQ(StoredCode(m_AD), 0x411802BCu);
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:1092092604,Detail:preset");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{{"nbitask", "unknown", 140, 1, OTHER_EXCEPTION}}));
}

TEST_F(NBITaskFailedTest, InitThatThrowsKeepsTheBodyFromRunning)
{
    StagedTask task(m_AD, Stage::INIT,
                    [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(task.m_Calls, (Calls{"Init"}));
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:5,Detail:info");
}

TEST_F(NBITaskFailedTest, BodyThatThrowsIsNotCompleted)
{
    StagedTask task(m_AD, Stage::EXECUTE, [] { throw std::runtime_error("x"); });
    task.Run();
    EXPECT_EQ(task.m_Calls, (Calls{"Init", "Execute"}));
}

TEST_F(NBITaskFailedTest, OutcomeIsTheSameWithoutALogService)
{
    m_Host.RegisterLogService(false);
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    task.Run();
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:5,Detail:info");
    AD other;
    TestTask otherTask(other, [] { throw 42; });
    otherTask.Run();
    EXPECT_EQ(HowItEnded(other), "ErrCode:1092092604,Detail:");
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(NBITaskFailedTest, OutcomeIsTheSameWithALogServiceThatFails)
{
    m_Host.FailLogCalls(true);
    TestTask task(m_AD, [] { throw ProcessException(5, "message", "info", "file", "function", 12); });
    EXPECT_NO_THROW(task.Run());
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:5,Detail:info");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

TEST_F(NBITaskFailedTest, CodeReachesTheCallerWhenThereIsNoMemoryForTheTexts)
{
    static constexpr std::size_t LONG = 100000;
    std::optional<AllocationLimit> limit;
    TestTask task(m_AD, [&limit] {
        class OnTheWayOut {
        public:
            explicit OnTheWayOut(std::optional<AllocationLimit>& limit) : m_Limit(limit) {}
            ~OnTheWayOut() { m_Limit.emplace(LONG / 2); }

        private:
            std::optional<AllocationLimit>& m_Limit;
        };
        const OnTheWayOut end(limit);
        throw ProcessException(5, std::string(LONG, 'm'), std::string(LONG, 'i'), "file", "function", 12);
    });
    EXPECT_NO_THROW(task.Run());
    ASSERT_TRUE(limit);
    EXPECT_GE(limit->Refused(), LONG);
    limit.reset();
    ASSERT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:5,Detail:");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

/// One exception of each kind, from each place.
struct Failure {
    const char* m_pName;
    void (*m_pThrow)();
    const char* m_pOutcome;  // as the caller sees it
};

struct ForeignException {
    std::string m_Text = "not derived from anything";
};

const Failure FAILURES[] = {
    {"ProcessException", [] { throw ProcessException(6, "m", "i", "file", "function", 12); },
     "ErrCode:6,Detail:i"},
    {"DerivedException", [] { throw InterfaceNotExistException(6, "m", "i", "file", "function", 12); },
     "ErrCode:6,Detail:i"},
    {"StandardException", [] { throw std::runtime_error("%s"); }, "ErrCode:1092092604,Detail:"},
    {"BadAlloc", [] { throw std::bad_alloc(); }, "ErrCode:1092092604,Detail:"},
    {"Integer", [] { throw 42; }, "ErrCode:1092092604,Detail:"},
    {"Text", [] { throw "text"; }, "ErrCode:1092092604,Detail:"},
    {"PointerToOne", [] { throw static_cast<ProcessException*>(nullptr); }, "ErrCode:1092092604,Detail:"},
    {"ForeignException", [] { throw ForeignException(); }, "ErrCode:1092092604,Detail:"},
};

class NBITaskFailureTest : public NBITaskTest,
                           public ::testing::WithParamInterface<std::tuple<Stage, Failure>> {
protected:
    Stage GetStage() const { return std::get<0>(GetParam()); }
    const Failure& GetFailure() const { return std::get<1>(GetParam()); }

    void ExpectOneLine() const
    {
        const bool bOther = std::string(GetFailure().m_pOutcome) != "ErrCode:6,Detail:i";
        const LogLine expected = bOther ? LogLine{"nbitask", "unknown", 140, 1, OTHER_EXCEPTION}
                                        : LogLine{"file", "function", 12, 1, "ErrCode:6,Detail:m"};
        EXPECT_EQ(m_Host.Logs(), std::vector<LogLine>{expected});
    }
};

TEST_P(NBITaskFailureTest, NoExceptionLeavesRun)
{
    StagedTask task(m_AD, GetStage(), GetFailure().m_pThrow);
    EXPECT_NO_THROW(task.Run());
    EXPECT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    ExpectOneLine();
    const bool bWasWokenBefore = GetStage() == Stage::AFTER_COMPLETE;
    EXPECT_EQ(HowItEnded(m_AD), bWasWokenBefore ? "success" : GetFailure().m_pOutcome);
}

std::string NameOf(const ::testing::TestParamInfo<std::tuple<Stage, Failure>>& info)
{
    static const char* const STAGES[] = {"Init", "Execute", "Complete", "FinishedComplete"};
    return std::string(std::get<1>(info.param).m_pName) + "From" +
           STAGES[static_cast<int>(std::get<0>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(Kinds, NBITaskFailureTest,
                         ::testing::Combine(::testing::Values(Stage::INIT, Stage::EXECUTE, Stage::COMPLETE,
                                                              Stage::AFTER_COMPLETE),
                                            ::testing::ValuesIn(FAILURES)),
                         NameOf);

}  // namespace
}  // namespace NS_UTIL
