// Every schedule of a few threads that post and take, and samples of those of more.
#include "task/worktokens.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <new>
#include <random>
#include <unordered_set>

#include "support/schedule.h"
#include "support/tasks.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;
using Point = Schedule::Point;

/// What a thread of the model does, and what that does to the number of tokens.
struct Operation {
    enum Kind { POST, POST_FOR_ALL, TAKE, TRY_TAKE, LOOK } m_Kind;
    int m_nTokens = 1;
};
using Program = std::vector<Operation>;
using Programs = std::vector<Program>;

Program Times(int nTimes, Operation::Kind kind)
{
    return Program(static_cast<std::size_t>(nTimes), Operation{kind});
}

/// One run of some programs on a WorkTokens of their own.
class Model {
public:
    explicit Model(const Programs& programs) : m_Progress(programs.size())
    {
        for (std::size_t nFiber = 0; nFiber < programs.size(); ++nFiber) {
            m_Schedule.Add([this, &program = programs[nFiber], nFiber] { Run(program, m_Progress[nFiber]); });
        }
    }

    const Schedule& State() const { return m_Schedule; }
    std::vector<std::size_t> Enabled() const
    {
        std::vector<std::size_t> fibers;
        for (std::size_t nFiber = 0; nFiber < m_Schedule.Fibers(); ++nFiber) {
            if (m_Schedule.CanStep(nFiber)) fibers.push_back(nFiber);
        }
        return fibers;
    }
    void Step(std::size_t nFiber) { m_Schedule.Step(nFiber); }

    /// Two runs with equal fingerprints go on alike: the bytes of the tokens are all that they share (less
    /// the semaphore, which the schedule has taken the place of), and a fiber's own variables follow from
    /// where it stands in which operation.
    std::string Fingerprint() const
    {
        const auto* const pBytes = reinterpret_cast<const char*>(&m_Tokens);
        std::string text(pBytes, sizeof m_Tokens - sizeof(ACE_Semaphore));
        text += m_Schedule.Fingerprint();
        for (const Progress& progress : m_Progress) {
            text += ',' + std::to_string(progress.m_nOperation) + '.' + std::to_string(progress.m_nPart) +
                    (progress.m_bTook ? '+' : '-');
        }
        return text;
    }

    /// What has to hold between any two steps.
    /// \return what does not
    std::string Broken() const
    {
        const auto nTokens = static_cast<int>(m_Tokens.Count());
        int nWanted = 0;
        for (std::size_t nFiber = 0; nFiber < m_Progress.size(); ++nFiber) {
            // Who is about to wake somebody has posted or taken already.
            nWanted += m_Progress[nFiber].m_nTokens;
            if (m_Schedule.At(nFiber) == Point::POSTS) nWanted += m_Progress[nFiber].m_nChange;
        }
        if (nTokens != nWanted) {
            return std::to_string(nTokens) + " tokens instead of " + std::to_string(nWanted);
        }
        const int nSleepers = m_Schedule.CountAt(Point::WAITS);
        const int nWakeups = m_Schedule.Semaphore() + m_Schedule.CountAt(Point::POSTS);
        if (nTokens > 0 && nSleepers > 0 && nWakeups == 0 && m_Schedule.CountAt(Point::YIELDS) == 0) {
            return "a token and a sleeper, and nobody on the way";
        }
        if (m_Schedule.CountAt(Point::YIELDS) > 1) return "more than one yields";
        if (!m_bForAll && nWakeups > 1) return "more than one wake-up under way";
        return "";
    }

    /// What has to hold when nobody can go on: a sleeper means that there is nothing to take.
    std::string BrokenAtTheEnd() const
    {
        if (m_Schedule.CountAt(Point::WAITS) > 0 && m_Tokens.Count() > 0) return "asleep beside a token";
        if (m_Schedule.Semaphore() > 0) return "a wake-up for nobody";
        return "";
    }
    int Asleep() const { return m_Schedule.CountAt(Point::WAITS); }
    int Left() const { return static_cast<int>(m_Tokens.Count()); }

private:
    struct Progress {
        int m_nOperation = 0;
        int m_nPart = 0;       // of an operation that pauses in between
        bool m_bTook = false;  // what its first part has come to
        int m_nTokens = 0;     // by the operations that are over
        int m_nChange = 0;     // by the one under way
    };

    void Run(const Program& program, Progress& progress)
    {
        for (const Operation& operation : program) {
            progress.m_nPart = 0;
            progress.m_bTook = false;
            progress.m_nChange = ChangeBy(operation);
            Do(operation, progress);
            progress.m_nTokens += progress.m_nChange;
            progress.m_nChange = 0;
            ++progress.m_nOperation;
            Schedule::Pause();
        }
    }

    int ChangeBy(const Operation& operation)
    {
        if (operation.m_Kind == Operation::POST_FOR_ALL) m_bForAll = true;
        return operation.m_Kind == Operation::POST || operation.m_Kind == Operation::POST_FOR_ALL
                   ? operation.m_nTokens
                   : -1;
    }

    void Do(const Operation& operation, Progress& progress)
    {
        switch (operation.m_Kind) {
            case Operation::POST:
                m_Tokens.Post();
                break;
            case Operation::POST_FOR_ALL:
                m_Tokens.PostForAll(static_cast<unsigned int>(operation.m_nTokens));
                break;
            case Operation::TAKE:
                m_Tokens.Take();
                break;
            case Operation::TRY_TAKE:
                TryTake(progress);
                break;
            case Operation::LOOK:
                Look(progress);
                break;
        }
    }

    void TryTake(Progress& progress)
    {
        progress.m_bTook = m_Tokens.TryTake();
        if (!progress.m_bTook) progress.m_nChange = 0;
    }

    /// As a pool's worker looks: once under its lock, then waiting.
    void Look(Progress& progress)
    {
        TryTake(progress);
        if (progress.m_bTook) return;
        progress.m_nPart = 1;
        Schedule::Pause();
        progress.m_nChange = -1;
        m_Tokens.Take();
    }

    WorkTokens m_Tokens;
    std::vector<Progress> m_Progress;
    bool m_bForAll = false;
    Schedule m_Schedule{[this] { return m_Tokens.Count() > 0; }};
};

using Path = std::vector<unsigned char>;

std::string Text(const Path& path)
{
    std::string text = "after the steps";
    for (const unsigned char nFiber : path) text += ' ' + std::to_string(static_cast<int>(nFiber));
    return text;
}

/// Goes through every state that the programs can come to in any order of their steps.
class AllSchedules {
public:
    explicit AllSchedules(Programs programs) : m_Programs(std::move(programs)) {}

    /// \return how many states there are; 0 after a failure
    template <class AtTheEnd>
    std::size_t Visit(AtTheEnd atTheEnd)
    {
        std::deque<Path> paths{Path{}};
        while (!paths.empty()) {
            const Path path = std::move(paths.back());
            paths.pop_back();
            Model model(m_Programs);
            for (const unsigned char nFiber : path) model.Step(nFiber);
            if (!m_Seen.insert(model.Fingerprint()).second) continue;
            std::string broken = model.Broken();
            const std::vector<std::size_t> enabled = model.Enabled();
            if (enabled.empty()) {
                if (broken.empty()) broken = model.BrokenAtTheEnd();
                if (broken.empty()) broken = atTheEnd(model);
            }
            if (!broken.empty()) {
                ADD_FAILURE() << broken << ' ' << Text(path);
                return 0;
            }
            for (const std::size_t nFiber : enabled) {
                paths.push_back(path);
                paths.back().push_back(static_cast<unsigned char>(nFiber));
            }
        }
        return m_Seen.size();
    }
    std::size_t Visit()
    {
        return Visit([](const Model&) { return std::string(); });
    }

private:
    Programs m_Programs;
    std::unordered_set<std::string> m_Seen;
};

class WorkTokensSchedules : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!CanSchedule()) GTEST_SKIP() << NO_SCHEDULES;
    }

    /// \p nTakers threads, each of which takes one token and keeps it for ever, as a task that blocks.
    static Programs Takers(int nTakers, Operation::Kind kind = Operation::TAKE)
    {
        return Programs(static_cast<std::size_t>(nTakers), Times(1, kind));
    }
    static Programs With(Programs programs, const Program& program)
    {
        programs.push_back(program);
        return programs;
    }
};

TEST_F(WorkTokensSchedules, TokensAreAllTakenThoughTheTakersNeverComeBack)
{
    for (const Operation::Kind kind : {Operation::TAKE, Operation::LOOK}) {
        const int nMost = kind == Operation::TAKE ? 4 : 3;  // a look has more steps
        for (int nTakers = 1; nTakers <= nMost; ++nTakers) {
            for (int nPosts = 1; nPosts <= nMost; ++nPosts) {
                AllSchedules all(With(Takers(nTakers, kind), Times(nPosts, Operation::POST)));
                EXPECT_GT(all.Visit([&](const Model& model) {
                    const int nTaken = std::min(nTakers, nPosts);
                    if (model.Left() != nPosts - nTaken)
                        return "tokens left: " + std::to_string(model.Left());
                    if (model.Asleep() != nTakers - nTaken) return std::string("wrong number asleep");
                    return std::string();
                }),
                          static_cast<std::size_t>(nTakers + nPosts));
            }
        }
    }
}

TEST_F(WorkTokensSchedules, TwoWhoPostLoseNoToken)
{
    for (int nTakers = 1; nTakers <= 3; ++nTakers) {
        AllSchedules all(With(With(Takers(nTakers), Times(2, Operation::POST)), Times(2, Operation::POST)));
        EXPECT_GT(all.Visit(), 0u);
    }
}

TEST_F(WorkTokensSchedules, TakersThatComeBackLoseNoToken)
{
    const Programs programs{Times(2, Operation::LOOK), Times(2, Operation::LOOK), Times(2, Operation::TAKE),
                            Times(5, Operation::POST)};
    EXPECT_GT(AllSchedules(programs).Visit([](const Model& model) {
        return model.Left() == 0 && model.Asleep() <= 1 ? std::string() : std::string("one should be left");
    }),
              0u);
}

TEST_F(WorkTokensSchedules, WhoDoesNotWaitTakesNothingFromTheSleepers)
{
    const Programs programs{Times(1, Operation::TAKE), Times(1, Operation::TAKE),
                            Times(2, Operation::TRY_TAKE), Times(3, Operation::POST)};
    EXPECT_GT(AllSchedules(programs).Visit(), 0u);
}

TEST_F(WorkTokensSchedules, PostForAllReachesEverySleeper)
{
    for (int nTakers = 1; nTakers <= 4; ++nTakers) {
        AllSchedules all(
            With(Takers(nTakers), Program{Operation{Operation::POST}, {Operation::POST_FOR_ALL, nTakers}}));
        EXPECT_GT(all.Visit([](const Model& model) {
            return model.Asleep() == 0 && model.Left() == 1 ? "" : std::string("somebody still sleeps");
        }),
                  0u);
    }
}

TEST_F(WorkTokensSchedules, PostForAllOfFewerTokensThanSleepersLosesNone)
{
    for (int nTokens = 1; nTokens <= 3; ++nTokens) {
        AllSchedules all(
            With(With(Takers(4), Program{{Operation::POST_FOR_ALL, nTokens}}), Times(1, Operation::POST)));
        EXPECT_GT(all.Visit([nTokens](const Model& model) {
            return model.Left() == 0 && model.Asleep() == 3 - nTokens ? "" : std::string("a token is lost");
        }),
                  0u);
    }
}

TEST_F(WorkTokensSchedules, OneTokenPassedOnEndsAllWorkers)
{
    // As at the exit of a pool whose posts came short: whoever ends wakes the next.
    const Program worker{Operation{Operation::TAKE}, Operation{Operation::POST}};
    for (std::size_t nWorkers = 1; nWorkers <= 4; ++nWorkers) {
        AllSchedules all(With(Programs(nWorkers, worker), Times(1, Operation::POST)));
        EXPECT_GT(all.Visit([](const Model& model) {
            return model.Asleep() == 0 && model.Left() == 1 ? "" : std::string("somebody still sleeps");
        }),
                  0u);
    }
}

/// Longer runs of more threads, of which only a sample can be tried.
class WorkTokensSamples : public WorkTokensSchedules, public ::testing::WithParamInterface<unsigned int> {};
INSTANTIATE_TEST_SUITE_P(Seed, WorkTokensSamples, ::testing::Range(1U, 11U));

TEST_P(WorkTokensSamples, RandomSchedulesLoseNoTokenAndNoSleeper)
{
    std::minstd_rand random(GetParam());
    for (int nRun = 0; nRun < 300; ++nRun) {
        Programs programs;
        const std::size_t nTakers = random() % 8 + 1;
        for (std::size_t i = 0; i < nTakers; ++i) {
            const auto kind = static_cast<Operation::Kind>(Operation::TAKE + random() % 3);
            programs.push_back(Times(static_cast<int>(random() % 4) + 1, kind));
        }
        for (std::size_t i = random() % 3 + 1; i > 0; --i) {
            programs.push_back(Times(static_cast<int>(random() % 8) + 1, Operation::POST));
            if (random() % 4 == 0) programs.back().push_back({Operation::POST_FOR_ALL, 3});
        }
        Model model(programs);
        Path path;
        std::vector<std::size_t> enabled = model.Enabled();
        while (!enabled.empty()) {
            path.push_back(static_cast<unsigned char>(enabled[random() % enabled.size()]));
            model.Step(path.back());
            ASSERT_EQ(model.Broken(), "") << Text(path);
            enabled = model.Enabled();
        }
        ASSERT_EQ(model.BrokenAtTheEnd(), "") << Text(path);
    }
}

}  // namespace
}  // namespace NS_UTIL
