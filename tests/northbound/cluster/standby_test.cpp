// The database's machine is lost, and a standby takes its place.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "northbound/cluster/cluster.h"

namespace northbound {
namespace {

class StandbyTest : public ClusterTest {
protected:
    void SetUp() override
    {
        ClusterTest::SetUp();
        if (IsSkipped()) return;
        m_pPrimary = std::make_unique<PrivateEngine>();
        EngineConnection connection = PatientConnection(*m_pPrimary);
        MigrateSchema(connection);
        m_pStandby = PrivateEngine::StandbyOf(*m_pPrimary);
    }

    /// Both engines, and only one that takes writes.
    std::string Both() const
    {
        return "host=" + m_pPrimary->Folder() + "," + m_pStandby->Folder() +
               " user=postgres dbname=postgres target_session_attrs=read-write";
    }

    std::unique_ptr<PrivateEngine> m_pPrimary;
    std::unique_ptr<PrivateEngine> m_pStandby;
};

TEST_F(StandbyTest, NothingAcceptedIsLostWithThePrimary)
{
    const std::vector<std::string> names = {"a", "b"};
    for (const std::string& name : names) StartOn(Both(), name, Wish());
    for (int i = 1; i <= 12; ++i) {
        ASSERT_EQ(Order(names[static_cast<std::size_t>(i) % names.size()], i, 20, 1000), 0u);
    }
    m_pPrimary->Kill();
    EXPECT_TRUE(IsRefusedAsAway("a", 13)) << "the standby takes no writes yet";
    PatientConnection(*m_pStandby).Execute("SELECT pg_promote()");
    for (int i = 13; i <= 24; ++i) ASSERT_EQ(Order("a", i, 20, 1000), 0u);
    for (int i = 1; i <= 24; ++i) ExpectWhole(EndOf("b", i), 51);
    const Rows rows =
        PatientConnection(*m_pStandby).Execute("SELECT count(*) FROM nbi.collection WHERE phase = 2");
    EXPECT_EQ(rows.at(0).at(0).value(), "24");
}

}  // namespace
}  // namespace northbound
