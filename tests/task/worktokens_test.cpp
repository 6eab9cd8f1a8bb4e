#include "task/worktokens.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "support/tasks.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

// What callers see

TEST(WorkTokensTest, FreshOneHasNoToken)
{
    WorkTokens tokens;
    EXPECT_EQ(tokens.Count(), 0u);
    EXPECT_FALSE(tokens.TryTake());
}

TEST(WorkTokensTest, PostedTokensCanBeTaken)
{
    WorkTokens tokens;
    EXPECT_TRUE(tokens.Post());
    EXPECT_TRUE(tokens.Post());
    EXPECT_EQ(tokens.Count(), 2u);
    tokens.Take();
    EXPECT_TRUE(tokens.TryTake());
    EXPECT_EQ(tokens.Count(), 0u);
}

TEST(WorkTokensTest, PostForAllBringsThatMany)
{
    WorkTokens tokens;
    tokens.PostForAll(0);
    EXPECT_EQ(tokens.Count(), 0u);
    tokens.PostForAll(1000);
    EXPECT_EQ(tokens.Count(), 1000u);
}

TEST(WorkTokensTest, PostsStopAtTheMost)
{
    WorkTokens tokens;
    tokens.PostForAll(WorkTokens::MAX_TOKENS - 1);
    EXPECT_TRUE(tokens.Post());
    EXPECT_EQ(tokens.Count(), WorkTokens::MAX_TOKENS);
    EXPECT_FALSE(tokens.Post());
    tokens.PostForAll(5);
    EXPECT_EQ(tokens.Count(), WorkTokens::MAX_TOKENS);
    tokens.Take();
    EXPECT_TRUE(tokens.Post());
    EXPECT_EQ(tokens.Count(), 0x7FFFFFFFu);
}

TEST(WorkTokensTest, PostForAllFillsUpToTheMost)
{
    WorkTokens tokens;
    tokens.PostForAll(WorkTokens::MAX_TOKENS - 2);
    tokens.PostForAll(5);
    EXPECT_EQ(tokens.Count(), WorkTokens::MAX_TOKENS);
}

TEST(WorkTokensTest, SleeperIsWokenByAPost)
{
    WorkTokens tokens;
    std::thread taker([&] { tokens.Take(); });
    tokens.Post();
    taker.join();
    EXPECT_EQ(tokens.Count(), 0u);
}

// Real threads

/// Many threads that post and take at random, repeatable moments.
class WorkTokensThreads : public ::testing::TestWithParam<unsigned int> {};
INSTANTIATE_TEST_SUITE_P(Seed, WorkTokensThreads,
                         ::testing::Values(1U, 2U, 30U, 400U, 5000U, 60000U, 700000U));

void Disturb(std::minstd_rand& random)
{
    const auto nChance = random() % 100;
    if (nChance < 20) std::this_thread::yield();
    if (nChance == 99) std::this_thread::sleep_for(std::chrono::microseconds(100));
}

TEST_P(WorkTokensThreads, TokensPostedAreTokensTakenAndLeft)
{
    constexpr int TAKERS = 10;
    constexpr int POSTERS = 4;
    constexpr int POSTS = 2000;
    WorkTokens tokens;
    std::atomic<int> nTaken{0};
    std::atomic<bool> bStop{false};
    std::vector<std::thread> takers;
    for (unsigned int nTaker = 0; nTaker < TAKERS; ++nTaker) {
        takers.emplace_back([&, nTaker] {
            std::minstd_rand random(GetParam() + nTaker);
            while (!bStop) {
                const bool bTook = random() % 2 == 0 && tokens.TryTake();
                if (!bTook) tokens.Take();
                if (bStop) break;  // it was the token that ends this thread
                ++nTaken;
                Disturb(random);
            }
        });
    }
    std::vector<std::thread> posters;
    for (unsigned int nPoster = 0; nPoster < POSTERS; ++nPoster) {
        posters.emplace_back([&, nPoster] {
            std::minstd_rand random(GetParam() + 1000 + nPoster);
            for (int i = 0; i < POSTS; ++i) {
                EXPECT_TRUE(tokens.Post());
                Disturb(random);
            }
        });
    }
    for (std::thread& poster : posters) poster.join();
    // Every token that is there can be taken: nobody sleeps beside one.
    EXPECT_TRUE(Eventually([&] { return nTaken == POSTERS * POSTS; }));
    EXPECT_EQ(nTaken + static_cast<int>(tokens.Count()), POSTERS * POSTS);
    bStop = true;
    tokens.PostForAll(TAKERS);
    for (std::thread& taker : takers) taker.join();
}

TEST_P(WorkTokensThreads, TakersThatNeverComeBackLeaveTheOtherTokensToTheOthers)
{
    constexpr int TAKERS = 30;
    std::minstd_rand random(GetParam());
    for (int nRound = 0; nRound < 10; ++nRound) {
        WorkTokens tokens;
        Meeting meeting(TAKERS);
        std::vector<std::thread> takers;
        takers.reserve(TAKERS);
        for (int i = 0; i < TAKERS; ++i) {
            takers.emplace_back([&] {
                tokens.Take();
                meeting.Join();
            });
        }
        for (int i = 0; i < TAKERS; ++i) {
            tokens.Post();
            Disturb(random);
        }
        for (std::thread& taker : takers) taker.join();
        EXPECT_EQ(tokens.Count(), 0u);
    }
}

}  // namespace
}  // namespace NS_UTIL
