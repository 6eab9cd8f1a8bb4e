// A collection whose holder has lost the right to it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "nbiutil/processexception.h"
#include "server/figures/machine.h"
#include "server/operations/collection.h"
#include "server/operations/localbook.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

class LostClaimTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_Book.SetLimits({1, 0});
        m_Book.Order({"one", m_Plan.m_Dn, "alice", m_Plan.m_nInterval, m_Plan.m_nDuration});
        m_Claim = m_Book.Claim("one")->m_Claim;
    }

    unsigned int CodeOfSampling(const CollectionClaim& claim)
    {
        try {
            TakeSamples({m_Element, m_Book, m_Stop, PartFiles(m_Folder.Path())}, m_Plan, claim);
        } catch (NS_UTIL::ProcessException& e) {
            return e.GetErrorCode();
        }
        return 0;
    }

    const Element m_Element{Machine(), {}};
    const CollectionPlan m_Plan{"ne=x,port=lo", "lo", 10, 20, {}};
    const nbitest::TestDirectory m_Folder;
    StopSignal m_Stop;
    LocalBook m_Book;
    CollectionClaim m_Claim;
};

TEST_F(LostClaimTest, HolderTakesAllSamplesAndReportsThem)
{
    EXPECT_EQ(CodeOfSampling(m_Claim), 0u);
    EXPECT_EQ(m_Book.Find("one")->m_nTaken, 3u);
}

TEST_F(LostClaimTest, WhoeverHoldsItNoLongerStopsAndLeavesTheRestToOthers)
{
    EXPECT_EQ(CodeOfSampling({"one", m_Claim.m_nToken + 1}), ErrCode::CUT_SHORT);
    EXPECT_EQ(m_Book.Find("one")->m_nTaken, 0u);
    EXPECT_TRUE(nbitest::Exists(m_Folder.Path() + "/perf-lo-one.csv.part"));
}

/// What others have taken is not taken again, and increases are counted from their first sample.
TEST_F(LostClaimTest, TakerGoesOnBehindTheSamplesOfOthers)
{
    CollectionPlan plan = m_Plan;
    plan.m_nFirst = 2;
    const CollectionEnvironment environment{m_Element, m_Book, m_Stop, PartFiles(m_Folder.Path())};
    const CollectionOutcome outcome = TakeSamples(environment, plan, m_Claim);
    const std::string text = nbitest::ReadFile(outcome.m_File);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << "names and one sample";
    EXPECT_EQ(m_Book.Find("one")->m_nTaken, 3u);
    plan.m_nFirst = 3;
    m_Book.Finish(m_Claim, {});
    std::filesystem::remove(outcome.m_File);
    EXPECT_NO_THROW(TakeSamples(environment, plan, m_Claim)) << "all are taken, and the end was not told";
}

}  // namespace
}  // namespace northbound
