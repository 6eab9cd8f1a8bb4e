// Who may end whose collection.
#include <gtest/gtest.h>

#include "nbiutil/processexception.h"
#include "server/operations/collect.h"
#include "shared/names.h"

namespace northbound {
namespace {

/// One collection of alice's is under way.
class BookOfOne final : public CollectionBook {
public:
    CollectionOutcome Collect(const CollectionPlan& /*plan*/) override { return {}; }
    std::vector<RunningCollection> Running() const override { return {}; }
    CollectionProgress Find(const std::string& operation) const override
    {
        if (operation != "one") return {};
        return {"ne=x,port=y", "alice", 1, 5, false};
    }
    void Cancel(const std::string& operation) override { m_Cancelled += operation; }

    std::string m_Cancelled;
};

class CancelOperationTest : public ::testing::Test {
protected:
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

    BookOfOne m_Book;
};

TEST_F(CancelOperationTest, CollectorEndsNoOtherUsersCollection)
{
    EXPECT_EQ(CodeOfCancel("bob", Role::COLLECTOR), ErrCode::NOT_ALLOWED);
    EXPECT_EQ(m_Book.m_Cancelled, "");
}

TEST_F(CancelOperationTest, OwnerAndAdministratorsEndIt)
{
    EXPECT_EQ(CodeOfCancel("alice", Role::COLLECTOR), 0u);
    EXPECT_EQ(CodeOfCancel("bob", Role::ADMIN), 0u);
    EXPECT_EQ(m_Book.m_Cancelled, "oneone");
}

}  // namespace
}  // namespace northbound
