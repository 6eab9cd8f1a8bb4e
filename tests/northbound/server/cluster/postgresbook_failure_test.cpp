// A shared book whose engine is away.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "northbound/server/cluster/booktesting.h"
#include "support/eventually.h"

namespace northbound {
namespace {

using namespace std::chrono_literals;

class PostgresBookFailureTest : public SharedBookTest {
protected:
    std::unique_ptr<PostgresBook> BookWithin(std::chrono::milliseconds limit) const
    {
        PostgresBookSettings settings = SettingsOf("one");
        settings.m_Limits.m_Call = limit;
        return BookWith(settings);
    }
};

TEST_F(PostgresBookFailureTest, PausedEngineIsAwayForEveryCallAndAnswersFromMemoryGoOn)
{
    const auto pPatient = BookOf("two");
    const auto pBook = BookWithin(300ms);
    std::optional<ClaimedCollection> claimed;
    EXPECT_TRUE(nbitest::Eventually([&] {
        pPatient->Order(OrderOf("a"));
        return CodeOf([&] { claimed = pBook->Claim(""); }) == 0;
    }));
    ASSERT_TRUE(claimed);
    m_pEngine->Pause();
    EXPECT_EQ(CodeOf([&] { pBook->Order(OrderOf("b")); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->Cancel("a"); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->Claim(""); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->Renew(); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->Finish(claimed->m_Claim, {0}); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->AwaitEnd("a", 1h); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->Find("a"); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->Collections(); }), ErrCode::BOOK_AWAY);
    EXPECT_EQ(CodeOf([&] { pBook->Servers(); }), ErrCode::BOOK_AWAY);
    pBook->Report(claimed->m_Claim, 3);
    EXPECT_EQ(pBook->StandingOf(claimed->m_Claim), Standing::HELD);
    m_pEngine->Resume();
    EXPECT_TRUE(nbitest::Eventually([&] { return CodeOf([&] { pBook->Renew(); }) == 0; }));
    EXPECT_EQ(pPatient->Find("a")->m_nTaken, 3u);
}

/// The answer of a call may be lost after the engine has done what was asked: repeated, it says so.
TEST_F(PostgresBookFailureTest, EveryCallMayBeRepeatedAfterItsAnswerWasLost)
{
    const auto pBook = BookOf("one");
    // The engine does its work, and the session is ended before anybody hears of it.
    const auto loseAnswerOf = [this](const std::string& call) {
        EngineConnection connection = PatientConnection(*m_pEngine);
        try {
            connection.ExecuteScript("BEGIN; SELECT " + call +
                                     "; COMMIT; SELECT pg_terminate_backend(pg_backend_pid())");
        } catch (const EngineAway&) {
        }
    };
    loseAnswerOf("nbi.order_collection('a', 'ne=one,port=lo', 'ne=one', 'alice', 1000, 9000, 100, 0)");
    EXPECT_EQ(pBook->Order(OrderOf("a")), OrderAnswer::KNOWN);
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.collection"), "1");
    const auto claimed = pBook->Claim("a");
    ASSERT_TRUE(claimed);
    loseAnswerOf("nbi.finish_collection('a', 1, 10, 0, '', 'file', 0, '')");
    EXPECT_TRUE(pBook->Finish(claimed->m_Claim, {0, "", "file"}));
    EXPECT_EQ(pBook->Order(OrderOf("a")), OrderAnswer::KNOWN) << "also when it has ended";
}

/// Orders go on while the engine dies and comes back: each that was accepted is there, and there once.
TEST_F(PostgresBookFailureTest, NothingAcceptedIsLostWhenTheEngineIsKilledUnderLoad)
{
    constexpr int CLIENTS = 8;
    constexpr int ORDERS = 25;
    const auto pBook = BookWithin(900ms);
    pBook->SetLimits({CLIENTS * ORDERS, 0});
    std::atomic<int> nAccepted{0};
    std::vector<std::thread> clients;
    clients.reserve(CLIENTS);
    for (int nClient = 0; nClient < CLIENTS; ++nClient) {
        clients.emplace_back([&, nClient] {
            for (int i = 0; i < ORDERS; ++i) {
                const CollectionOrder order = OrderOf(std::to_string(nClient) + "-" + std::to_string(i));
                while (CodeOf([&] { EXPECT_NE(pBook->Order(order), OrderAnswer::FULL); }) != 0) {
                    std::this_thread::yield();
                }
                ++nAccepted;
            }
        });
    }
    for (int nKill = 1; nKill <= 3; ++nKill) {
        EXPECT_TRUE(nbitest::Eventually([&] { return nAccepted >= nKill * CLIENTS * ORDERS / 4; }));
        m_pEngine->Kill();
        m_pEngine->Start();
    }
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(nAccepted, CLIENTS * ORDERS);
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.collection"), std::to_string(CLIENTS * ORDERS));
}

TEST_F(PostgresBookFailureTest, DatabaseWithoutTheSchemaIsNoBookThatIsAway)
{
    Asked("DROP SCHEMA nbi CASCADE");
    EXPECT_EQ(CodeOf([&] { BookOf("one")->Order(OrderOf("a")); }), ErrCode::INTERNAL);
}

}  // namespace
}  // namespace northbound
