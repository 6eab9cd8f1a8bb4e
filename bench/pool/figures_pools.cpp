// Compiled twice: with the library as it is, and as FIGURES_POOL=PoolWithoutFigures with the copy that counts nothing.
#include "figures_pools.h"

#include <vector>

#include "contestants.h"

namespace figuresbench {
namespace {

class OnPool : public Contestant {
public:
    explicit OnPool(int nWorkers) : m_Pool(nWorkers) {}
    void PushAndWait(int nTasks, int nMicroseconds) override
    {
        poolbench::NbiPool::BeginRequest();
        std::vector<poolbench::NbiPool::Handle> handles(static_cast<std::size_t>(nTasks));
        for (auto& handle : handles) m_Pool.Push(poolbench::Body{nMicroseconds}, handle);
        for (auto& handle : handles) poolbench::NbiPool::Wait(handle);
    }

private:
    poolbench::NbiPool m_Pool;
};

}  // namespace

std::unique_ptr<Contestant> FIGURES_POOL(int nWorkers)
{
    return std::make_unique<OnPool>(nWorkers);
}

}  // namespace figuresbench
