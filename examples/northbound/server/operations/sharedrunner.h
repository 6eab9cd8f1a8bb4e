/// \file
/// Has the collections of a shared book carried out.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "server/operations/collectionrunner.h"
#include "server/serving/recurring.h"

namespace northbound {

/// How often a server asks its book.
struct BookTimes {
    std::chrono::milliseconds m_Renewal{2000};  // a third of the lease
    std::chrono::milliseconds m_Look{250};      // for work; and for the engine's return
};

/// What was ordered of any server waits in the book, and the workers of pool 2 take it from there: a thread claims as
/// much as there are free ones, another one renews what is claimed. What is claimed and cannot be carried out goes to
/// another server when its lease is over. Threads: any.
class SharedRunner final : public CollectionRunner {
public:
    /// \param environment its book outlives the runner
    SharedRunner(NS_UTIL::DBAgent& agent, CollectionEnvironment environment, std::function<void()> onEnd,
                 const BookTimes& times);
    ~SharedRunner() override;

    /// Orders and waits; whoever carries the collection out may change meanwhile.
    /// \throws ProcessException HUGE_TASK_LIMIT; what the book throws; how the collection has ended; CUT_SHORT at the
    ///         stop, while others go on with it
    CollectionOutcome Collect(const CollectionPlan& plan) override;

    OrderAnswer Order(const CollectionPlan& plan, const std::string& operation,
                      const std::string& user) override;

    Reach ReachOf() const override { return Reach::OTHERS_TOO; }

    /// Begins to claim and to renew.
    void Begin();

    /// Claims no more, and gives back what is not carried out to its end. To be called when the pools have ended; takes
    /// no longer than some calls of the book.
    void End();

private:
    class Place;

    std::chrono::milliseconds Renew();
    std::chrono::milliseconds Take();
    bool TakeOne();
    bool HasRoom() const;
    void Wake();
    void Carry(const ClaimedCollection& claimed) const;
    void Finish(const CollectionClaim& claim, const CollectionEnd& end) const;
    bool TryToFinish(const CollectionClaim& claim, const CollectionEnd& end) const;
    CollectionState EndedState(const CollectionPlan& plan, const std::string& operation) const;
    void CheckWaiting(const CollectionPlan& plan, const std::string& operation) const;

    const BookTimes m_Times;
    std::atomic<unsigned int> m_nInHand{0};  // claimed, and not ended here
    bool m_bAway = false;                    // the renewing thread's own
    std::mutex m_Mutex;
    std::unique_ptr<Recurring> m_pRenewal;  // guarded by m_Mutex
    std::unique_ptr<Recurring> m_pTaking;   // guarded by m_Mutex
};

}  // namespace northbound
