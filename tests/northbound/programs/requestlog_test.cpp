// What many clients at once leave in the log.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "northbound/programs/requests.h"
#include "shared/names.h"

namespace northbound {
namespace {

/// What many clients at once leave in the log.
class LogTest : public ::testing::Test {
protected:
    static constexpr int CLIENTS = 24;
    static constexpr int ROUNDS = 5;

    static std::string UserOf(int nClient) { return "user" + std::to_string(nClient); }

    /// In each round three requests that succeed and two that fail.
    static void Talk(const Session& session, const Northbound::Caller& who)
    {
        for (int i = 0; i < ROUNDS; ++i) {
            ReadInventory(session, who);
            ReadCounters(session, who, Loopback());
            EXPECT_EQ(FailureOf([&] { ReadCounters(session, who, "none"); }).code, ErrCode::UNKNOWN_OBJECT);
            const Northbound::CollectionResult_var result = session.Server()->Collect(who, Order(10, 20));
            EXPECT_EQ(result.in().samples, 3u);
            EXPECT_EQ(FailureOf([&] { session.Server()->Collect(who, Order(0, 1)); }).code,
                      ErrCode::BAD_ARGUMENT);
        }
    }

    static std::vector<LoggedLine> LogOfManyClients()
    {
        Server server("HugeTaskLimit = 1000\nCollectionsPerPort = 0\n");
        const Session session(server.Address(), "alice");
        std::vector<std::thread> clients;
        clients.reserve(CLIENTS);
        for (int i = 0; i < CLIENTS; ++i) {
            clients.emplace_back([&session, i] { Talk(session, CallerOf(UserOf(i))); });
        }
        for (std::thread& client : clients) client.join();
        StopInOrder(server);
        return server.Log();
    }
};

using Request = std::pair<std::string, std::string>;  // interface and user

TEST_F(LogTest, EachOperationUuidBelongsToOneRequestOfOneUser)
{
    std::map<std::string, std::set<Request>> requests;
    std::map<std::string, unsigned int> accepted;
    for (const LoggedLine& line : LogOfManyClients()) {
        if (line.m_Operation.empty()) continue;
        requests[line.m_Operation].insert({line.m_Interface, line.m_User});
        if (line.Has("request accepted")) ++accepted[line.m_Operation];
    }
    std::map<Request, unsigned int> counts;
    for (const auto& [operation, names] : requests) {
        ASSERT_EQ(names.size(), 1u) << operation;
        EXPECT_EQ(accepted[operation], 1u) << operation;
        ++counts[*names.begin()];
    }
    for (int i = 0; i < CLIENTS; ++i) {
        EXPECT_EQ((counts[{"1 inventory", UserOf(i)}]), static_cast<unsigned int>(ROUNDS));
        EXPECT_EQ((counts[{"2 counters", UserOf(i)}]), static_cast<unsigned int>(2 * ROUNDS));
        EXPECT_EQ((counts[{"3 collect", UserOf(i)}]), static_cast<unsigned int>(2 * ROUNDS));
    }
}

TEST_F(LogTest, LinesOfARequestCarryItOnItsRequestThreadAndOnItsWorker)
{
    std::map<std::string, std::set<std::string>> threads;
    for (const LoggedLine& line : LogOfManyClients()) {
        const bool bOfARequest = StartsWith(line.m_Text, "dispatcher ") ||
                                 StartsWith(line.m_Text, "collection ") ||
                                 StartsWith(line.m_Text, "machine:");  // the line of a failed body
        if (bOfARequest) {
            EXPECT_FALSE(line.m_Operation.empty()) << line.m_Text;
        }
        if (line.m_Interface == "2 counters") threads[line.m_Operation].insert(line.m_Thread);
    }
    EXPECT_EQ(threads.size(), static_cast<std::size_t>(CLIENTS * 2 * ROUNDS));
    for (const auto& [operation, names] : threads) EXPECT_EQ(names.size(), 2u) << operation;
}

TEST_F(LogTest, LinesOfNoRequestCarryNone)
{
    std::size_t nOfPools = 0;
    for (const LoggedLine& line : LogOfManyClients()) {
        const bool bOfNoRequest = StartsWith(line.m_Text, "nbi-server ") || line.Has("SetHTskInfo") ||
                                  line.Has("RemoveHTskInfo") || line.Has("Acquire Idle Task error!!");
        if (!bOfNoRequest) continue;
        ++nOfPools;
        EXPECT_TRUE(line.m_Operation.empty()) << line.m_Text;
    }
    EXPECT_GT(nOfPools, static_cast<std::size_t>(CLIENTS * ROUNDS));
}

}  // namespace
}  // namespace northbound
