/// \file
/// The work semaphore of a pool: how many looks for work are owed, and which sleeping worker takes the next.
#pragma once

#include <ace/Semaphore.h>

#include <atomic>
#include <cstdint>

namespace NS_UTIL {

/// A counting semaphore that wakes at most one sleeper at a time.
///
/// Why: a wake-up is a system call, and with many sleepers one for every token costs most of a pool's
/// throughput. So a post wakes somebody only if nobody is on the way already; whoever takes a token and sees
/// more of them wakes the next sleeper before it goes to work. And one idle worker at a time yields for a few
/// microseconds before it sleeps, where that is cheap (yieldgate.h): a token that arrives meanwhile costs no
/// system call at all.
///
/// Only posts and those who leave a state of their own wake anybody. TryTake() only makes tokens fewer, and
/// PostForAll() has started a wake-up for every sleeper that it brings a token for: neither can break the rule
/// below.
///
/// Why no token is lost: tokens, sleepers, wake-ups under way and the yielding worker stand in one atomic
/// word, and every step changes it as a whole. The steps keep this true: if there is a token and a sleeper,
/// then a wake-up is under way or somebody yields. Post() brings a token: it starts a wake-up unless one of
/// the two is there. Whoever takes a token, wakes up, or stops yielding leaves the state of "under way" or
/// "yielding" and, in the same step, starts the next wake-up if tokens and sleepers remain. Nobody becomes a
/// sleeper while there is a token. A wake-up under way is one unit of m_Semaphore, which only a sleeper takes
/// and which never waits for anything else. Each token can be taken by any worker at once, so tasks that
/// block hold up nobody: the chain of wake-ups goes on before they start.
///
/// A call on m_Semaphore that fails is repeated without end, since a wake-up that is counted and not there would leave all
/// sleepers asleep; each millisecond where it was no signal that ended it.
///
/// Threads: any.
class WorkTokens {
public:
    static constexpr std::uint32_t MAX_TOKENS = 0x7FFFFFFF;

    /// \throws std::bad_alloc
    WorkTokens();
    WorkTokens(const WorkTokens&) = delete;
    WorkTokens& operator=(const WorkTokens&) = delete;

    /// Adds one token.
    /// \return false when there are MAX_TOKENS already
    bool Post();

    /// Adds \p nCount tokens, as far as there is room, and wakes as many sleepers at once: for posts that are
    /// meant for all workers.
    void PostForAll(std::uint32_t nCount);

    /// Takes a token if there is one; never blocks.
    bool TryTake();

    /// Takes a token, waiting for it without a time limit.
    void Take();

    std::uint32_t Count() const { return Tokens(m_Word.load(std::memory_order_relaxed)); }

private:
    // tokens in bits 0-31, sleepers in bits 32-47, wake-ups under way in bits 48-62, "somebody yields" in bit
    // 63
    using Word = std::uint64_t;
    static constexpr Word TOKEN = 1;
    static constexpr Word SLEEPER = Word{1} << 32;
    static constexpr Word WAKEUP = Word{1} << 48;
    static constexpr Word YIELDING = Word{1} << 63;

    static std::uint32_t Tokens(Word word) { return static_cast<std::uint32_t>(word); }
    static std::uint32_t Sleepers(Word word) { return static_cast<std::uint32_t>(word >> 32) & 0xFFFFU; }
    static std::uint32_t Wakeups(Word word) { return static_cast<std::uint32_t>(word >> 48) & 0x7FFFU; }
    void WakeNext();
    static bool NeedsWakeup(Word word);

    /// What has become of a thread that looks for a token.
    enum class Taker { HAS_TOKEN, YIELDS, SLEEPS };

    template <class Step>
    bool Change(Step step);
    Taker TakeOrStay(Word leave, bool bMayYield);
    bool YieldForToken() const;

    std::atomic<Word> m_Word{0};
    ACE_Semaphore m_Semaphore;  // sleepers sleep here; its count is that of the wake-ups under way
};

}  // namespace NS_UTIL
