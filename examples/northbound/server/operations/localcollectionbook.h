/// \file
/// Collections as huge tasks of this process.
#pragma once

#include <vector>

#include "server/operations/collectionbook.h"

namespace NS_UTIL {
class DBAgent;
}

namespace northbound {

/// Runs collections in pool 2. The board keeps the limits to the number; those of the library's book of huge
/// tasks, which are the same, stand behind it.
class LocalCollectionBook final : public CollectionBook {
public:
    /// \param agent on whose behalf the tasks run
    LocalCollectionBook(NS_UTIL::DBAgent& agent, CollectionEnvironment environment);

    CollectionOutcome Collect(const CollectionPlan& plan) override;
    std::vector<RunningCollection> Running() const override;
    CollectionProgress Find(const std::string& operation) const override
    {
        return m_Environment.m_Board.Find(operation);
    }
    void Cancel(const std::string& operation) override { m_Environment.m_Board.Cancel(operation); }

private:
    NS_UTIL::DBAgent& m_Agent;
    const CollectionEnvironment m_Environment;
};

}  // namespace northbound
