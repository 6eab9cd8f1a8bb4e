#include "task/worktokens.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <thread>

#include "task/yieldgate.h"

namespace NS_UTIL {
namespace {

constexpr std::chrono::milliseconds REFUSED_PAUSE{1};

/// Whether a call on the semaphore has not done its work: nobody goes on before it has. After a signal it is made again at
/// once. The system refuses for other reasons only what something has overwritten; that must not cost a core as well.
bool HasToBeRepeated(int nResult)
{
    if (nResult != -1) return false;
    if (errno != EINTR) std::this_thread::sleep_for(REFUSED_PAUSE);
    return true;
}

void AcquireUninterrupted(ACE_Semaphore& semaphore)
{
    while (HasToBeRepeated(semaphore.acquire())) {
    }
}

}  // namespace

WorkTokens::WorkTokens() : m_Semaphore(0, USYNC_THREAD, nullptr, nullptr, static_cast<int>(MAX_TOKENS))
{
    if (m_Semaphore.lock().sema_ == nullptr) throw std::bad_alloc();  // ACE goes on without it
}

/// The wake-up is counted already: whoever waits for it, and all who wait for their turn behind it, would sleep for ever.
void WorkTokens::WakeNext()
{
    while (HasToBeRepeated(m_Semaphore.release())) {
    }
}

bool WorkTokens::NeedsWakeup(Word word)
{
    return Tokens(word) > 0 && Sleepers(word) > 0 && Wakeups(word) == 0 && (word & YIELDING) == 0;
}

/// Replaces the word by step(word), and counts the next wake-up in where the rule asks for one.
/// \return true when the caller owes that wake-up
template <class Step>
bool WorkTokens::Change(Step step)
{
    Word before = m_Word.load(std::memory_order_relaxed);
    for (;;) {
        Word after = step(before);
        const bool bWakeNext = NeedsWakeup(after);
        if (bWakeNext) after += WAKEUP;
        if (m_Word.compare_exchange_weak(before, after, std::memory_order_acq_rel,
                                         std::memory_order_relaxed)) {
            return bWakeNext;
        }
    }
}

bool WorkTokens::Post()
{
    bool bPosted = false;
    const bool bWakeNext = Change([&bPosted](Word word) {
        bPosted = Tokens(word) < MAX_TOKENS;
        return bPosted ? word + TOKEN : word;
    });
    if (bWakeNext) WakeNext();
    return bPosted;
}

void WorkTokens::PostForAll(std::uint32_t nCount)
{
    std::uint32_t nWakeups = 0;
    Change([nCount, &nWakeups](Word word) {
        const std::uint32_t nTokens = std::min(nCount, MAX_TOKENS - Tokens(word));
        nWakeups = std::min(nTokens, Sleepers(word) - Wakeups(word));
        return word + TOKEN * nTokens + WAKEUP * nWakeups;
    });
    for (; nWakeups > 0; --nWakeups) WakeNext();
}

bool WorkTokens::TryTake()
{
    if (Count() == 0) return false;
    bool bTaken = false;
    Change([&bTaken](Word word) {
        bTaken = Tokens(word) > 0;
        return bTaken ? word - TOKEN : word;
    });
    return bTaken;
}

/// One step of a thread that looks for a token: it gives up what it stood for in the word so far (\p leave),
/// and takes a token or stands for something else.
WorkTokens::Taker WorkTokens::TakeOrStay(Word leave, bool bMayYield)
{
    Taker taker = Taker::SLEEPS;
    const bool bWakeNext = Change([leave, bMayYield, &taker](Word word) {
        const Word rest = word - leave;
        if (Tokens(rest) > 0) {
            taker = Taker::HAS_TOKEN;
            return rest - TOKEN;
        }
        if (bMayYield && (rest & YIELDING) == 0) {
            taker = Taker::YIELDS;
            return rest + YIELDING;
        }
        taker = Taker::SLEEPS;
        return rest + SLEEPER;
    });
    if (bWakeNext) WakeNext();
    return taker;
}

bool WorkTokens::YieldForToken() const
{
    Yields yields(g_YieldGate);
    while (Count() == 0 && yields.Next()) {
    }
    const std::uint32_t nTokens = Count();
    if (nTokens == 0) return false;
    if (yields.KeptWaiting(nTokens)) g_YieldGate.Close();  // the token had to wait: nobody is woken meanwhile
    return true;
}

void WorkTokens::Take()
{
    const bool bMayYield = g_YieldGate.IsOpen();
    Taker taker = TakeOrStay(0, bMayYield);
    while (taker != Taker::HAS_TOKEN) {
        if (taker == Taker::YIELDS) {
            taker = TakeOrStay(YIELDING, YieldForToken());
        } else {
            AcquireUninterrupted(m_Semaphore);
            taker = TakeOrStay(SLEEPER + WAKEUP, bMayYield);
        }
    }
}

}  // namespace NS_UTIL
