#include "nbiutil/processexception.h"

#include <gtest/gtest.h>

#include <exception>
#include <iomanip>
#include <string>
#include <type_traits>

#include "nbiutil/errcode.h"
#include "support/vtable.h"
#include "task/throw.h"

namespace NS_UTIL {
namespace {

using nbitest::DeleteCounter;
using nbitest::ExpectDestructorAt;
using nbitest::SlotOf;

TEST(ProcessExceptionTest, DefaultHasCodeAndLineZeroAndEmptyStreams)
{
    ProcessException exception;
    EXPECT_EQ(exception.GetErrorCode(), 0u);
    EXPECT_EQ(exception.GetLine(), 0);
    EXPECT_EQ(exception.FileStream().str(), "");
    EXPECT_EQ(exception.FunctionStream().str(), "");
    EXPECT_EQ(exception.ErrorInfoStream().str(), "");
    EXPECT_EQ(exception.MessageStream().str(), "");
}

TEST(ProcessExceptionTest, ConstructorFillsEveryStream)
{
    ProcessException exception(5, "detail", "info", "file", "function", 12);
    EXPECT_EQ(exception.GetErrorCode(), 5u);
    EXPECT_EQ(exception.GetLine(), 12);
    EXPECT_EQ(exception.FileStream().str(), "file");
    EXPECT_EQ(exception.FunctionStream().str(), "function");
    EXPECT_EQ(exception.ErrorInfoStream().str(), "info");
    EXPECT_EQ(exception.MessageStream().str(), "ErrCode:5,Detail:detail");
}

TEST(ProcessExceptionTest, ErrorInfoIsEmptyUnlessItIsGiven)
{
    ProcessException exception(5, "detail", "file", "function", 12);
    EXPECT_EQ(exception.ErrorInfoStream().str(), "");
    EXPECT_EQ(exception.MessageStream().str(), "ErrCode:5,Detail:detail");
}

TEST(ProcessExceptionTest, CodeKeepsItsLow32BitsAndTheMessageAll64)
{
    ProcessException exception(0xFFFFFFFF00000005UL, "", "file", "function", 1);
    EXPECT_EQ(exception.GetErrorCode(), 5u);
    EXPECT_EQ(exception.MessageStream().str(), "ErrCode:18446744069414584325,Detail:");
}

TEST(ProcessExceptionTest, CodeAndLineCanBeSet)
{
    ProcessException exception;
    exception.SetErrorCode(0xFFFFFFFFU);
    exception.SetLine(-3);
    EXPECT_EQ(exception.GetErrorCode(), 0xFFFFFFFFU);
    EXPECT_EQ(exception.GetLine(), -3);
}

TEST(ProcessExceptionTest, StreamsOfADefaultOneCanBeWritten)
{
    ProcessException exception;
    exception.FileStream() << "file";
    exception.FunctionStream() << "fun"
                               << "ction";
    exception.ErrorInfoStream() << 1 << ' ' << 2;
    exception.MessageStream() << "ErrCode:" << std::hex << 255U << ",Detail:";
    EXPECT_EQ(exception.FileStream().str(), "file");
    EXPECT_EQ(exception.FunctionStream().str(), "function");
    EXPECT_EQ(exception.ErrorInfoStream().str(), "1 2");
    EXPECT_EQ(exception.MessageStream().str(), "ErrCode:ff,Detail:");
    EXPECT_EQ(exception.GetFile(), "file");
    EXPECT_EQ(exception.GetFunction(), "function");
    EXPECT_EQ(exception.GetErrorInfo(), "1 2");
    EXPECT_EQ(exception.GetMessage(), "ErrCode:ff,Detail:");
}

TEST(ProcessExceptionTest, WritingGoesOnBehindTheText)
{
    ProcessException exception(5, "detail", "info", "file", "function", 12);
    EXPECT_EQ(exception.GetMessage(), "ErrCode:5,Detail:detail");
    exception.MessageStream() << " and more";
    exception.FileStream() << ".cpp";
    EXPECT_EQ(exception.GetMessage(), "ErrCode:5,Detail:detail and more");
    EXPECT_EQ(exception.MessageStream().str(), "ErrCode:5,Detail:detail and more");
    EXPECT_EQ(exception.GetFile(), "file.cpp");
}

TEST(ProcessExceptionTest, StreamCanBeReadAndEmptied)
{
    ProcessException exception(5, "detail", "7 rest", "file", "function", 12);
    int nRead = 0;
    exception.ErrorInfoStream() >> nRead;
    EXPECT_EQ(nRead, 7);
    EXPECT_EQ(exception.GetErrorInfo(), "7 rest");
    exception.ErrorInfoStream().str("");
    EXPECT_EQ(exception.GetErrorInfo(), "");
}

TEST(ProcessExceptionTest, TextsKeepTheirNuls)
{
    const std::string text("a\0b", 3);
    ProcessException exception(5, text, text, "file", "function", 12);
    EXPECT_EQ(exception.MessageStream().str(), "ErrCode:5,Detail:" + text);
    EXPECT_EQ(exception.ErrorInfoStream().str(), text);
}

TEST(ProcessExceptionTest, DetailIsTheMessageWithoutItsCode)
{
    EXPECT_EQ(ProcessException(5, "detail", "info", "file", "function", 12).GetDetail(), "detail");
    EXPECT_EQ(ProcessException(5, "", "file", "function", 12).GetDetail(), "");
    EXPECT_EQ(ProcessException(0x100000005UL, "x", "file", "function", 12).GetDetail(), "x");
}

TEST(ProcessExceptionTest, DetailMayContainWhatStandsBeforeIt)
{
    const std::string detail("ErrCode:1,Detail:\0,Detail:", 26);
    EXPECT_EQ(ProcessException(5, detail, "file", "function", 12).GetDetail(), detail);
}

TEST(ProcessExceptionTest, DetailHasWhatWasWrittenBehindTheMessage)
{
    ProcessException exception(5, "detail", "info", "file", "function", 12);
    exception.MessageStream() << " and more";
    EXPECT_EQ(exception.GetDetail(), "detail and more");
    ProcessException copy(exception);
    EXPECT_EQ(copy.GetDetail(), "detail and more");
    exception.MessageStream().str("short");
    EXPECT_EQ(exception.GetDetail(), "");
}

TEST(ProcessExceptionTest, DetailOfOneMadeWithoutIsTheWholeMessage)
{
    ProcessException exception;
    EXPECT_EQ(exception.GetDetail(), "");
    exception.MessageStream() << "ErrCode:7,Detail:x";
    EXPECT_EQ(exception.GetDetail(), "ErrCode:7,Detail:x");
}

TEST(ProcessExceptionTest, CopyTakesANonConstReference)
{
    static_assert(std::is_constructible_v<ProcessException, ProcessException&>);
    static_assert(!std::is_constructible_v<ProcessException, const ProcessException&>);
    static_assert(!std::is_copy_assignable_v<ProcessException>);
    static_assert(std::is_constructible_v<InterfaceNotExistException, InterfaceNotExistException&>);
    static_assert(!std::is_constructible_v<InterfaceNotExistException, const InterfaceNotExistException&>);
}

TEST(ProcessExceptionTest, CopyHasCodeLineAndTheTextsOfTheStreams)
{
    ProcessException exception(5, "detail", "info", "file", "function", 12);
    exception.MessageStream() << std::hex << " and more";
    ProcessException copy(exception);
    EXPECT_EQ(copy.GetErrorCode(), 5u);
    EXPECT_EQ(copy.GetLine(), 12);
    EXPECT_EQ(copy.FileStream().str(), "file");
    EXPECT_EQ(copy.FunctionStream().str(), "function");
    EXPECT_EQ(copy.ErrorInfoStream().str(), "info");
    EXPECT_EQ(copy.MessageStream().str(), "ErrCode:5,Detail:detail and more");
    copy.MessageStream() << ' ' << 16;
    EXPECT_EQ(copy.GetMessage(), "ErrCode:5,Detail:detail and more 16") << "formatting flags are not copied";
}

TEST(ProcessExceptionTest, CopyIsIndependent)
{
    ProcessException exception(5, "detail", "info", "file", "function", 12);
    ProcessException copy(exception);
    copy.SetErrorCode(6);
    copy.ErrorInfoStream() << " changed";
    EXPECT_EQ(exception.GetErrorCode(), 5u);
    EXPECT_EQ(exception.GetErrorInfo(), "info");
}

TEST(ProcessExceptionTest, CopyOfADefaultOneIsEmpty)
{
    ProcessException exception;
    ProcessException copy(exception);
    EXPECT_EQ(copy.GetErrorCode(), 0u);
    EXPECT_EQ(copy.MessageStream().str(), "");
}

TEST(ProcessExceptionTest, IsAStandardExceptionThatKeepsItsWhat)
{
    static_assert(std::is_convertible_v<ProcessException*, std::exception*>);
    const ProcessException exception(5, "detail", "info", "file", "function", 12);
    EXPECT_STREQ(static_cast<const std::exception&>(exception).what(), std::exception().what());
}

TEST(ProcessExceptionTest, SlotsAreThoseOfTheStandardException)
{
    class Probe : public ProcessException, public DeleteCounter {
    public:
        virtual void Next() {}
    };
    ExpectDestructorAt<Probe>(0);
    EXPECT_EQ(SlotOf(&ProcessException::what), 2u);
    EXPECT_EQ(SlotOf(&Probe::Next), 3u) << "there are no more";
}

TEST(ProcessExceptionTest, MissingInterfaceIsCaughtAsAProcessException)
{
    try {
        throw InterfaceNotExistException(9, "detail", "file", "function", 3);
    } catch (ProcessException& failure) {
        EXPECT_EQ(failure.GetErrorCode(), 9u);
        EXPECT_EQ(failure.MessageStream().str(), "ErrCode:9,Detail:detail");
    }
}

TEST(ProcessExceptionTest, MissingInterfaceCopiesLikeItsBase)
{
    InterfaceNotExistException exception(9, "detail", "file", "function", 3);
    InterfaceNotExistException copy(exception);
    EXPECT_EQ(copy.GetErrorCode(), 9u);
    EXPECT_EQ(copy.MessageStream().str(), "ErrCode:9,Detail:detail");
    EXPECT_EQ(InterfaceNotExistException().GetMessage(), "");
}

TEST(ProcessExceptionTest, RaiseGivesTheMarkAndAnEmptyErrorInfo)
{
    try {
        Throw(SourceMark{"module", 42}, 0x100000007UL, "detail");
        FAIL() << "it returned";
    } catch (ProcessException& failure) {
        EXPECT_EQ(failure.GetErrorCode(), 7u);
        EXPECT_EQ(failure.GetLine(), 42);
        EXPECT_EQ(failure.FileStream().str(), "module");
        EXPECT_EQ(failure.FunctionStream().str(), "unknown");
        EXPECT_EQ(failure.ErrorInfoStream().str(), "");
        EXPECT_EQ(failure.MessageStream().str(), "ErrCode:4294967303,Detail:detail");
    }
}

TEST(ErrCodeTest, CodesHaveTheirFixedNumbers)
{
    EXPECT_EQ(ErrCode::FRAMEWORK_STOPPED, 1u);
    EXPECT_EQ(ErrCode::POOL_DESTROYED, 1092091913u);
    EXPECT_EQ(ErrCode::HUGE_TASK_LIMIT, 1092091914u);
    EXPECT_EQ(ErrCode::TASK_NOT_IDLE, 1092091920u);
    EXPECT_EQ(ErrCode::TASK_BODY_FAILED, 1092092604u);
}

}  // namespace
}  // namespace NS_UTIL
