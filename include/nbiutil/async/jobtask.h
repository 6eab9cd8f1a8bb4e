/// \file
/// How a callable becomes a task. Included by nbiutil/async.h.
#pragma once

#include <atomic>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "nbiutil/async/future.h"
#include "nbiutil/async/state.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/nbitaskmgr.h"

namespace NS_UTIL {

/// The number of the pool whose tasks HugeTaskMgr limits.
constexpr unsigned int HUGE_POOL = 2;

namespace async_internal {

/// \param owner gives a shared pointer to the state, for bodies that want a token
template <class Body, class Owner>
auto Invoke(Body&& body, const Owner& owner)
{
    if constexpr (std::is_invocable_v<Body, StopToken>) {
        return std::invoke(std::forward<Body>(body), StopToken(owner()));
    } else {
        return std::invoke(std::forward<Body>(body));
    }
}

template <class Body>
using ResultOf = decltype(Invoke(std::declval<Body>(), std::declval<std::shared_ptr<State> (&)()>()));

/// A link to whoever keeps tasks back; plain ones are pushed at once.
struct NoLink {
    void BodyEnded(const State& /*state*/) const {}
    void LookAtPool() const {}
};

/// The state of a task with its body. The body goes as soon as it has run or will not run, before the answer.
template <class Body, class Link>
class Job final : public ResultState<ResultOf<Body>> {
public:
    using Value = ResultOf<Body>;

    template <class Callable>
    Job(Callable&& body, Link link, Deadline deadline)
        : ResultState<ResultOf<Body>>(deadline),
          m_Body(std::in_place, std::forward<Callable>(body)),
          m_Link(std::move(link))
    {
    }

    /// For whoever took the task. What the body throws goes on to the frame of the task, for its log line.
    template <class Owner>
    void Run(const Owner& owner)
    {
        try {
            Store(owner);
        } catch (ProcessException& failure) {
            this->Fail(failure);
            throw;
        } catch (const std::exception& failure) {
            this->Fail(ErrCode::TASK_EXCEPTION, failure.what());
            this->ThrowFailure();
        } catch (...) {
            this->Fail(ErrCode::TASK_BODY_FAILED, "");
            throw;
        }
        this->Answer();
    }

private:
    template <class Owner>
    void Store(const Owner& owner)
    {
        const struct Release {
            Job* m_pJob;
            ~Release() { m_pJob->ReleaseBody(); }
        } release{this};
        if constexpr (std::is_void_v<ResultOf<Body>>) {
            Invoke(std::move(*m_Body), owner);
        } else {
            this->m_Value.emplace(Invoke(std::move(*m_Body), owner));
        }
    }

    void ReleaseBody() noexcept override
    {
        m_Body.reset();
        m_Link.BodyEnded(*this);
    }
    bool IsWaitingElsewhere() const override { return !std::is_same_v<Link, NoLink>; }
    void LookAtPool() override { m_Link.LookAtPool(); }

    std::optional<Body> m_Body;  // belongs to whoever takes the task
    Link m_Link;
};

/// A place in the count of queued tasks, which ends with the object.
class QueuePlace {
public:
    using Count = std::atomic<std::size_t>;

    QueuePlace() = default;
    explicit QueuePlace(Count* pCount) : m_pCount(pCount) {}
    QueuePlace(QueuePlace&& other) noexcept : m_pCount(std::exchange(other.m_pCount, nullptr)) {}
    QueuePlace& operator=(QueuePlace&&) = delete;
    ~QueuePlace() { Leave(); }

    void Leave()
    {
        if (Count* const pCount = std::exchange(m_pCount, nullptr)) pCount->fetch_sub(1);
    }

private:
    Count* m_pCount = nullptr;
};

/// The queued tasks of each pool. Never destroyed: tasks may end while the process does.
inline QueuePlace::Count& QueuedIn(unsigned int nPool)
{
    struct Counts {
        QueuePlace::Count m_Small[64] = {};  // pools go by small numbers
        std::mutex m_Mutex;
        std::map<unsigned int, QueuePlace::Count> m_Others;  // guarded by m_Mutex
    };
    static auto* const pCounts = new Counts;
    if (nPool < std::size(pCounts->m_Small)) return pCounts->m_Small[nPool];
    const std::lock_guard<std::mutex> lock(pCounts->m_Mutex);
    return pCounts->m_Others[nPool];
}

inline QueuePlace TakePlace(unsigned int nPool, std::size_t nLimit)
{
    QueuePlace::Count& count = QueuedIn(nPool);
    const std::size_t nQueued = count.fetch_add(1);
    QueuePlace place(&count);
    if (nQueued >= nLimit) {
        NBITaskMgr::GetTaskMgr(nPool)->CountRefused(ErrCode::QUEUE_FULL);
        throw ProcessException(ErrCode::QUEUE_FULL, "the pool's queue is full", "async", "TrySubmit",
                               __LINE__);
    }
    return place;
}

template <class Job>
struct Block;

/// The task of a job.
template <class Job>
class JobTask final : public NBITask {
public:
    JobTask(DBAgent& agent, Block<Job>& block, QueuePlace place)
        : NBITask(agent, false, block.m_Job.Descriptor()), m_Place(std::move(place)), m_Block(block)
    {
    }
    ~JobTask() override { m_Block.m_Job.Drop(); }

    void Execute() override
    {
        m_Place.Leave();
        if (m_Block.m_Job.Begin()) m_Block.m_Job.Run([this] { return StateOf(m_Block.m_pHeld); });
    }

    /// The task's address is its block's.
    static void operator delete(void* pTask)
    {
        const auto pHeld = std::move(static_cast<Block<Job>*>(pTask)->m_pHeld);
    }

private:
    QueuePlace m_Place;
    Block<Job>& m_Block;
};

/// A job and its task share one block of memory, since a second one would cost as much as all the rest of the
/// layer. The task holds the block: whoever deletes the task lets go of it, after the destructor.
template <class Job>
struct Block {
    template <class... Arguments>
    explicit Block(Arguments&&... arguments) : m_Job(std::forward<Arguments>(arguments)...)
    {
    }

    alignas(JobTask<Job>) unsigned char m_Task[sizeof(JobTask<Job>)];
    std::shared_ptr<Block> m_pHeld;  // while there is a task
    Job m_Job;
};

template <class Block>
std::shared_ptr<State> StateOf(const std::shared_ptr<Block>& pBlock)
{
    return {pBlock, &pBlock->m_Job};
}

template <class Job>
auto FutureOf(std::shared_ptr<Block<Job>> pBlock)
{
    using Value = typename Job::Value;
    ResultState<Value>* const pState = &pBlock->m_Job;
    return Future<Value>(std::shared_ptr<ResultState<Value>>(std::move(pBlock), pState));
}

/// \return the block and its task
template <class Callable, class Link = NoLink>
auto MakeTask(DBAgent& agent, Callable&& body, Deadline deadline, QueuePlace place = {}, Link link = {})
{
    using Job = Job<std::decay_t<Callable>, Link>;
    auto pBlock = std::make_shared<Block<Job>>(std::forward<Callable>(body), std::move(link), deadline);
    std::unique_ptr<NBITask> pTask(::new (pBlock->m_Task) JobTask<Job>(agent, *pBlock, std::move(place)));
    pBlock->m_pHeld = pBlock;
    return std::pair(std::move(pBlock), std::move(pTask));
}

template <class Callable>
auto Push(unsigned int nPool, DBAgent& agent, Callable&& body, Deadline deadline, std::size_t nLimit)
{
    NBITaskMgr::GetTaskMgr(nPool);  // what fails for a new pool fails while the task is still ours
    auto [pBlock, pTask] = MakeTask(agent, std::forward<Callable>(body), deadline, TakePlace(nPool, nLimit));
    TaskPoolMgr::PushTask(agent, pTask.release(), nPool);
    return FutureOf(std::move(pBlock));
}

}  // namespace async_internal

}  // namespace NS_UTIL
