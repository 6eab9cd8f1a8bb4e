// Who may end whose collection.
#include <gtest/gtest.h>

#include "nbiutil/processexception.h"
#include "server/operations/collect.h"
#include "server/operations/localbook.h"
#include "shared/names.h"

namespace northbound {
namespace {

/// One collection of alice's is under way.
class CancelOperationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_Book.SetLimits({1, 0});
        m_Book.Order({"one", "ne=x,port=y", "alice"});
        m_Claim = m_Book.Claim("one")->m_Claim;
    }

    unsigned int CodeOfCancel(const std::string& user, Role role)
    {
        Caller caller{user, "192.0.2.1:7"};
        caller.m_Role = role;
        try {
            Cancel(m_Book).Run({"one"}, caller);
        } catch (NS_UTIL::ProcessException& e) {
            return e.GetErrorCode();
        }
        return 0;
    }

    LocalBook m_Book;
    CollectionClaim m_Claim;
};

TEST_F(CancelOperationTest, CollectorEndsNoOtherUsersCollection)
{
    EXPECT_EQ(CodeOfCancel("bob", Role::COLLECTOR), ErrCode::NOT_ALLOWED);
    EXPECT_EQ(m_Book.StandingOf(m_Claim), Standing::HELD);
}

TEST_F(CancelOperationTest, OwnerEndsIt)
{
    EXPECT_EQ(CodeOfCancel("alice", Role::COLLECTOR), 0u);
    EXPECT_EQ(m_Book.StandingOf(m_Claim), Standing::CANCELLED);
}

TEST_F(CancelOperationTest, AdministratorsEndIt)
{
    EXPECT_EQ(CodeOfCancel("bob", Role::ADMIN), 0u);
    EXPECT_EQ(m_Book.StandingOf(m_Claim), Standing::CANCELLED);
}

TEST_F(CancelOperationTest, WhatHasEndedIsNobodysToCancel)
{
    m_Book.Finish(m_Claim, {});
    EXPECT_EQ(CodeOfCancel("alice", Role::COLLECTOR), ErrCode::BAD_ARGUMENT);
}

}  // namespace
}  // namespace northbound
