#include "server/serving/requestscope.h"

#include <gtest/gtest.h>

#include <string>

#include "nbihost/recordinghost.h"
#include "nbiutil/threadcontextmgr.h"

namespace northbound {
namespace {

constexpr Profile COLLECTING{3, "collect", Place::REQUEST_THREAD, Role::READER};
constexpr Profile LISTING{4, "tasks", Place::REQUEST_THREAD, Role::READER};

std::string Prefix()
{
    std::string line;
    LogPrefix::Append(line);
    return line;
}

class RequestScopeTest : public ::testing::Test {
protected:
    nbitest::RecordingHost m_Host;
};

TEST_F(RequestScopeTest, ScopeGivesItsThreadThePrefixOfItsRequest)
{
    EXPECT_EQ(Prefix(), "");
    {
        const RequestScope scope(COLLECTING, "alice");
        const auto context = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
        EXPECT_EQ(Prefix(), context.GetOperUUID() + " [3 collect] alice ");
        EXPECT_EQ(context.GetTskMode(), 0);
    }
    EXPECT_EQ(Prefix(), "");
}

TEST_F(RequestScopeTest, EachScopeHasAnOperationUuidOfItsOwn)
{
    std::string first;
    {
        const RequestScope scope(LISTING, "alice");
        first = Prefix();
    }
    const RequestScope scope(LISTING, "alice");
    EXPECT_NE(Prefix(), first);
}

TEST_F(RequestScopeTest, UserCannotFakeAPrefixOrALine)
{
    const RequestScope scope(LISTING, "a b\nc\x7F");
    const std::string prefix = Prefix();
    EXPECT_EQ(prefix.substr(prefix.find(']')), "] a?b?c? ");
}

TEST_F(RequestScopeTest, EmptyUserIsADashAndALongOneIsCut)
{
    {
        const RequestScope scope(LISTING, "");
        EXPECT_EQ(Prefix().substr(Prefix().find(']')), "] - ");
    }
    const RequestScope scope(LISTING, std::string(1000, 'x'));
    EXPECT_EQ(Prefix().substr(Prefix().find(']')), "] " + std::string(RequestScope::MAX_USER, 'x') + " ");
}

TEST_F(RequestScopeTest, ThreadHasTheContextThatItHadWhenTheScopeEnds)
{
    NS_UTIL::ThreadContextMgr* const pContexts = NS_UTIL::ThreadContextMgr::Instance();
    pContexts->SetThreadContext(9, "before");
    {
        const RequestScope scope(LISTING, "alice");
    }
    EXPECT_EQ(pContexts->GetThreadContext().GetInterfaceName(), "9 before");
}

}  // namespace
}  // namespace northbound
