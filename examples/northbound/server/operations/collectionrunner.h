/// \file
/// Has collections carried out, as huge tasks of this process.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "server/operations/collection.h"

namespace NS_UTIL {
class DBAgent;
}

namespace northbound {

/// A collection that a worker of this process has in hand.
struct RunningCollection {
    std::string m_Operation;  // operation UUID without tags
    std::string m_List;       // what it is counted under: managed object and operation
    std::string m_Dn;
    std::string m_User;
    unsigned int m_nTaken = 0;
    unsigned int m_nPlanned = 0;

    std::string Key() const { return m_Dn + " " + m_Operation; }
    std::vector<std::string> Texts() const { return {m_Operation, m_List, m_Dn, m_User}; }
};

/// Whose network elements a collection may be ordered of.
enum class Reach { OWN, OTHERS_TOO };

/// Runs collections in pool 2. The book keeps the limits to the number; those of the library's book of huge
/// tasks, which are the same, stand behind it. Threads: any.
class CollectionRunner {
public:
    /// \param agent on whose behalf the tasks run
    /// \param onEnd is called on a worker when a collection that nobody waits for has ended
    CollectionRunner(
        NS_UTIL::DBAgent& agent, CollectionEnvironment environment, std::function<void()> onEnd = [] {});
    virtual ~CollectionRunner() = default;
    CollectionRunner(const CollectionRunner&) = delete;
    CollectionRunner& operator=(const CollectionRunner&) = delete;

    /// Has the calling thread's request carried out as a collection, and waits for its end.
    /// \throws ProcessException HUGE_TASK_LIMIT as soon as it is clear that as many run as may; what the book and
    ///         TakeSamples() throw
    virtual CollectionOutcome Collect(const CollectionPlan& plan);

    /// Accepts a collection, and has it carried out while the caller goes on. Its end is in the book.
    /// \throws ProcessException HUGE_TASK_LIMIT; what the book throws
    virtual OrderAnswer Order(const CollectionPlan& plan, const std::string& operation,
                              const std::string& user);

    virtual Reach ReachOf() const { return Reach::OWN; }

    std::vector<RunningCollection> Running() const;

protected:
    /// \throws ProcessException HUGE_TASK_LIMIT; what the book throws
    OrderAnswer Accept(const CollectionOrder& order);

    /// Has a worker do \p work in the context of the collection's first request. The work goes with its task, which no limit
    /// counts any more then.
    /// \throws what TaskPoolMgr::PushTask() throws
    void Start(const CollectionOrder& order, std::function<void()> work);

    /// Takes the samples. What keeps it from that is the end, too.
    CollectionEnd EndOf(const ClaimedCollection& claimed) const;

    const CollectionEnvironment& Environment() const { return m_Environment; }
    void TellEnd() const { m_OnEnd(); }

private:
    CollectionPlan PlanOf(const ClaimedCollection& claimed) const;

    NS_UTIL::DBAgent& m_Agent;
    const CollectionEnvironment m_Environment;
    const std::function<void()> m_OnEnd;
};

}  // namespace northbound
