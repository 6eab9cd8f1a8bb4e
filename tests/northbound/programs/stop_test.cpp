// How a server ends, with work under way and queued.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "client/corba/collections.h"
#include "northbound/programs/requests.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

/// With one worker, all collections but the first wait in the queue.
class StopTest : public ::testing::Test {
protected:
    static constexpr unsigned int COLLECTIONS = 6;

    void SetUp() override
    {
        for (unsigned int i = 0; i < COLLECTIONS; ++i) {
            m_Collections.emplace_back(m_Session, Order(MINUTE, 10 * MINUTE), MINUTE);
        }
        ASSERT_TRUE(Eventually([this] { return Accepted() == COLLECTIONS && SamplesTaken() == 1; }));
    }

    unsigned int SamplesTaken() const
    {
        const Northbound::HugeTaskList_var tasks = AllTasks(m_Session);
        return tasks.in().length() == 1 ? tasks.in()[0].samplesTaken : 0;
    }

    std::size_t Accepted() const
    {
        const std::vector<LoggedLine> log = m_Server.Log();
        return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [](const LoggedLine& line) {
            return line.m_Interface == "3 collect" && line.Has("request accepted");
        }));
    }

    Server m_Server{"TaskMgrMaxThreadNum = 1\nHugeTaskLimit = 100\nCollectionsPerPort = 0\n"};
    Session m_Session{m_Server.Address(), "alice"};
    std::list<Collection> m_Collections;
};

TEST_F(StopTest, RequestsUnderWayAndQueuedAnswerWithAFailure)
{
    StopInOrder(m_Server);
    for (const Collection& collection : m_Collections) {
        ASSERT_TRUE(Eventually([&] { return collection.IsOver(); }));
        ASSERT_NE(collection.Refusal(), nullptr) << collection.NoServer()->NP_minorString();
        EXPECT_NE(collection.Refusal()->code, 0u);
        const std::string detail = collection.Refusal()->detail.in();
        EXPECT_TRUE(StartsWith(detail, "the server stopped ")) << detail;
    }
}

TEST_F(StopTest, CollectionUnderWayLooksForTheStopAndItsFailureIsLoggedForItsRequest)
{
    StopInOrder(m_Server);
    unsigned int nCutShort = 0;
    for (const LoggedLine& line : m_Server.Log()) {
        if (!StartsWith(line.m_Text, "collection:") || !line.Has("after 1 of 11 samples")) continue;
        ++nCutShort;
        EXPECT_EQ(line.m_Interface, "3 collect");
        EXPECT_EQ(line.m_User, "alice");
    }
    EXPECT_EQ(nCutShort, 1u);
}

TEST_F(StopTest, OrderToStopAnswersAndEndsTheServer)
{
    m_Session.Server()->Stop(m_Session.Who());
    EXPECT_EQ(m_Server.Process().Wait(), 0);
}

TEST_F(StopTest, InterruptEndsTheServerInOrderToo)
{
    m_Server.Process().Signal(SIGINT);
    EXPECT_EQ(m_Server.Process().Wait(), 0);
}

TEST_F(StopTest, HalfACollectionKeepsItsDraftName)
{
    StopInOrder(m_Server);
    std::size_t nDrafts = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_Server.Directory() + "/collections")) {
        EXPECT_EQ(entry.path().extension(), ".part");
        ++nDrafts;
    }
    EXPECT_GE(nDrafts, 1u);
}

TEST(ManyRequestsTest, StopAmongManyRequestsGivesNoEmptyAnswer)
{
    Server server("TaskMgrMaxThreadNum = 2\n");
    const Session session(server.Address(), "alice");
    std::atomic<unsigned int> nAnswered{0};
    constexpr int CLIENTS = 16;
    std::vector<std::thread> clients;
    clients.reserve(CLIENTS);
    for (int i = 0; i < CLIENTS; ++i) {
        clients.emplace_back([&] {
            try {
                for (;; ++nAnswered) ReadInventory(session, session.Who());
            } catch (const Northbound::OperationFailed& e) {
                EXPECT_NE(e.code, 0u);
            } catch (const CORBA::SystemException&) {
                // The server was gone before it took the request.
            }
        });
    }
    EXPECT_TRUE(Eventually([&] { return nAnswered > 500; }));
    StopInOrder(server);
    for (std::thread& client : clients) client.join();
}

}  // namespace
}  // namespace northbound
