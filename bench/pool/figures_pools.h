/// \file
/// One job on a pool of either of two copies of the library: the one that counts and measures its tasks, and one
/// that does not. The copies are of different namespaces, so a source sees one of them.
#pragma once

#include <memory>

namespace figuresbench {

class Contestant {
public:
    virtual ~Contestant() = default;
    /// Pushes \p nTasks tasks with bodies of so many microseconds, then waits for each.
    virtual void PushAndWait(int nTasks, int nMicroseconds) = 0;
};

std::unique_ptr<Contestant> PoolWithFigures(int nWorkers);
std::unique_ptr<Contestant> PoolWithoutFigures(int nWorkers);

}  // namespace figuresbench
