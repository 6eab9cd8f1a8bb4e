#include "server/cluster/schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <vector>

#include "northbound/server/cluster/booktesting.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

class SchemaTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!HasEngine()) GTEST_SKIP() << NO_ENGINE;
        m_pEngine = &SharedEngine();
        m_pConnection = std::make_unique<EngineConnection>(PatientConnection(*m_pEngine));
    }

    std::string One(const std::string& statement)
    {
        return m_pConnection->Execute(statement).at(0).at(0).value();
    }

    PrivateEngine* m_pEngine = nullptr;
    std::unique_ptr<EngineConnection> m_pConnection;
};

TEST_F(SchemaTest, MigrationMayBeRepeatedAndLosesNothing)
{
    EXPECT_EQ(StateOfSchema(*m_pConnection), SchemaState::NONE);
    MigrateSchema(*m_pConnection);
    EXPECT_EQ(StateOfSchema(*m_pConnection), SchemaState::CURRENT);
    m_pConnection->Execute("SELECT nbi.order_collection('one', 'ne=x', 'ne=x', 'alice', 1, 1, 1, 0)");
    MigrateSchema(*m_pConnection);
    EXPECT_EQ(StateOfSchema(*m_pConnection), SchemaState::CURRENT);
    EXPECT_EQ(One("SELECT count(*) FROM nbi.collection"), "1");
    EXPECT_EQ(One("SELECT count(*) FROM nbi.gate"), "1");
    EXPECT_EQ(One("SELECT count(*) FROM nbi.schema"), "1");
}

TEST_F(SchemaTest, DatabaseOfANewerVersionIsRefusedAndStaysAsItIs)
{
    MigrateSchema(*m_pConnection);
    m_pConnection->Execute("UPDATE nbi.schema SET version = 7");
    EXPECT_EQ(StateOfSchema(*m_pConnection), SchemaState::NEWER);
    try {
        MigrateSchema(*m_pConnection);
        ADD_FAILURE() << "not refused";
    } catch (const EngineRefusal& e) {
        EXPECT_THAT(e.what(), HasSubstr("version 7"));
    }
    EXPECT_EQ(One("SELECT version FROM nbi.schema"), "7");
}

/// What a step leaves when it fails, or the engine dies in it, is nothing.
TEST_F(SchemaTest, MigrationThatFailsLeavesNothing)
{
    m_pConnection->ExecuteScript("CREATE SCHEMA nbi; CREATE TABLE nbi.part (unforeseen int)");
    EXPECT_THROW(MigrateSchema(*m_pConnection), EngineRefusal);
    EXPECT_EQ(StateOfSchema(*m_pConnection), SchemaState::NONE);
    EXPECT_EQ(One("SELECT count(*) FROM pg_class WHERE relnamespace = 'nbi'::regnamespace"), "1");
}

TEST_F(SchemaTest, ManyMayMigrateAtOnce)
{
    std::vector<std::future<void>> migrations;
    migrations.reserve(8);
    for (int i = 0; i < 8; ++i) {
        migrations.push_back(std::async(std::launch::async, [this] {
            EngineConnection connection = PatientConnection(*m_pEngine);
            MigrateSchema(connection);
        }));
    }
    for (std::future<void>& migration : migrations) EXPECT_NO_THROW(migration.get());
    EXPECT_EQ(StateOfSchema(*m_pConnection), SchemaState::CURRENT);
    EXPECT_EQ(One("SELECT count(*) FROM nbi.gate"), "1");
}

/// What docs/cluster.md grants is what a server needs, and no more than it says.
TEST_F(SchemaTest, ServersNeedNoMoreRightsThanTheGuideGrants)
{
    MigrateSchema(*m_pConnection);
    const std::string guide = nbitest::ReadFile(NBI_GUIDE);
    const std::string begin = "```sql\n";
    const std::size_t nBegin = guide.find(begin);
    ASSERT_NE(nBegin, std::string::npos);
    const std::size_t nText = nBegin + begin.size();
    m_pConnection->ExecuteScript("CREATE ROLE nbi LOGIN; " +
                                 guide.substr(nText, guide.find("```", nText) - nText));
    PostgresBookSettings settings;
    settings.m_Connection = "host=" + m_pEngine->Folder() + " user=nbi dbname=postgres";
    settings.m_Server = "one";
    settings.m_Elements = {"ne=x"};
    settings.m_Limits.m_Call = std::chrono::seconds(30);
    PostgresBook book(settings);
    book.SetLimits({3, 0});
    EXPECT_EQ(book.Order({"a", "ne=x", "alice"}), OrderAnswer::ACCEPTED);
    EXPECT_EQ(book.Order({"b", "ne=x", "alice"}), OrderAnswer::ACCEPTED);
    book.Cancel("b");
    const auto claimed = book.Claim("");
    ASSERT_TRUE(claimed);
    book.Renew();
    EXPECT_EQ(book.Servers().size(), 1u);
    EXPECT_EQ(book.Collections().size(), 1u);
    EXPECT_TRUE(book.Finish(claimed->m_Claim, {0}));
    book.Leave();
    EXPECT_TRUE(book.Servers().empty());
    EngineConnection server(settings.m_Connection);
    EXPECT_THROW(server.Execute("DROP TABLE nbi.part"), EngineRefusal);
    EXPECT_THROW(server.Execute("UPDATE nbi.schema SET version = 7"), EngineRefusal);
}

}  // namespace
}  // namespace northbound
