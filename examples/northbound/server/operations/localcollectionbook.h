/// \file
/// Collections as huge tasks of this process.
#pragma once

#include <vector>

#include "server/operations/collectionbook.h"

namespace NS_UTIL {
class DBAgent;
}

namespace northbound {

/// Runs collections in pool 2, under the limits of the library's book of huge tasks.
class LocalCollectionBook final : public CollectionBook {
public:
    /// \param agent          on whose behalf the tasks run
    /// \param nPerPortLimit  collections of one port that may run; one more still begins, and 0 sets no limit
    LocalCollectionBook(NS_UTIL::DBAgent& agent, CollectionEnvironment environment, int nPerPortLimit);

    CollectionOutcome Collect(const CollectionPlan& plan) override;
    std::vector<RunningCollection> Running() const override;

private:
    NS_UTIL::DBAgent& m_Agent;
    const CollectionEnvironment m_Environment;
    const int m_nPerPortLimit;
};

}  // namespace northbound
