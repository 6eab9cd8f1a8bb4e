/// \file
/// The pools that pool_bench.cpp compares, each written the way its own users write it, with the same job: the
/// requester's record travels to the worker, is installed there, the body runs, and code and text come back.
#pragma once

#include <ace/Message_Block.h>
#include <ace/Task.h>

#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/ad.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextmgr.h"

#ifdef BENCH_ASIO
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#endif
#ifdef BENCH_TBB
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>
#endif
#ifdef BENCH_POCO
#include <Poco/Notification.h>
#include <Poco/NotificationQueue.h>
#include <Poco/Runnable.h>
#include <Poco/ThreadPool.h>
#endif
#ifdef BENCH_LOCKFREE
#include <concurrentqueue/blockingconcurrentqueue.h>
#endif

namespace poolbench {

/// Bodies that arrive wait until it is opened.
class Gate {
public:
    void ArriveAndWait()
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        ++m_nArrived;
        m_Arrival.notify_one();
        m_Opening.wait(lock, [this] { return m_bOpen; });
    }
    void AwaitArrivals(int nExpected)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Arrival.wait(lock, [this, nExpected] { return m_nArrived == nExpected; });
    }
    void Open()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_bOpen = true;
        m_Opening.notify_all();
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Arrival;
    std::condition_variable m_Opening;
    int m_nArrived = 0;    // guarded by m_Mutex
    bool m_bOpen = false;  // guarded by m_Mutex
};

/// What a task runs: processor time, not wall-clock time.
struct Body {
    int m_nMicroseconds = 0;
    bool m_bFails = false;    // raises a failure of CODE and DETAIL
    Gate* m_pGate = nullptr;  // not owned

    void Compute() const
    {
        constexpr int STEPS_PER_MICROSECOND = 1000;
        if (m_pGate != nullptr) m_pGate->ArriveAndWait();
        unsigned long nValue = 1;
        for (int i = 0; i < m_nMicroseconds * STEPS_PER_MICROSECOND; ++i) {
            nValue = nValue * 6364136223846793005UL + 1442695040888963407UL;
            asm volatile("" : "+r"(nValue));
        }
    }
};

constexpr unsigned int CODE = 0x41180123;
constexpr const char* DETAIL = "the equipment does not answer";

/// What the requester gets.
struct Outcome {
    unsigned long m_nCode = 0;
    std::string m_Detail;
};

// This library

class NbiPool {
public:
    static constexpr const char* NAME = "nbiutil";
    using Handle = std::optional<NS_UTIL::AD>;

    explicit NbiPool(int nWorkers)
    {
        nbitest::RecordingHost host;
        host.KeepLogs(false);
        host.SetInt("TaskMgrMaxThreadNum", nWorkers);
        static int nNumber = 10;
        m_pPool = std::make_unique<NS_UTIL::NBITaskMgr>(nNumber++);
        m_pPool->open();
    }

    static void BeginRequest()
    {
        NS_UTIL::ThreadContextMgr::Instance()->SetThreadContext(7, "getAllEquipment");
    }

    void Push(const Body& body, Handle& handle)
    {
        handle.emplace();
        m_pPool->PushTask(new BodyTask(m_Agent, *handle, body));
    }

    static Outcome Wait(Handle& handle)
    {
        Outcome outcome;
        try {
            handle->Wait();
        } catch (NS_UTIL::ProcessException& failure) {
            outcome = {failure.GetErrorCode(), failure.GetDetail()};
        }
        handle.reset();
        return outcome;
    }

private:
    class BodyTask : public NS_UTIL::NBITask {
    public:
        BodyTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const Body& body)
            : NBITask(agent, false, descriptor), m_Body(body)
        {
        }
        void Execute() override
        {
            m_Body.Compute();
            if (m_Body.m_bFails) {
                throw NS_UTIL::ProcessException(CODE, DETAIL, DETAIL, "contestants", __func__, __LINE__);
            }
        }

    private:
        Body m_Body;
    };

    NS_UTIL::DBAgent m_Agent{"bench", 1};
    std::unique_ptr<NS_UTIL::NBITaskMgr> m_pPool;
};

// The peers: the record by value, a promise for the outcome

struct Record {
    std::string m_InterfaceName;
    std::string m_UserInfo;
    std::string m_OperUUID;
    std::string m_TskMgr;
    int m_Numbers[4] = {};
};

inline Record& CurrentRecord()
{
    thread_local Record record;
    return record;
}

class Job {
public:
    explicit Job(const Body& body) : m_Record(CurrentRecord()), m_Body(body) {}
    std::future<Outcome> GetFuture() { return m_Outcome.get_future(); }

    void Run()
    {
        CurrentRecord() = std::move(m_Record);
        Outcome outcome;
        try {
            m_Body.Compute();
            if (m_Body.m_bFails) throw Outcome{CODE, DETAIL};
        } catch (Outcome& failure) {
            outcome = std::move(failure);
        }
        m_Outcome.set_value(std::move(outcome));
    }

private:
    Record m_Record;
    Body m_Body;
    std::promise<Outcome> m_Outcome;
};

class PeerBase {
public:
    using Handle = std::future<Outcome>;

    static void BeginRequest()
    {
        CurrentRecord() =
            Record{"7 getAllEquipment", "", "<OpUUID>10000000-1dd2-11b2-805f-0242ac110002</OpUUID>", "", {}};
    }
    static Outcome Wait(Handle& handle) { return handle.get(); }
};

#ifdef BENCH_ASIO
class AsioPool : public PeerBase {
public:
    static constexpr const char* NAME = "asio";
    explicit AsioPool(int nWorkers) : m_Pool(static_cast<std::size_t>(nWorkers)) {}
    ~AsioPool() { m_Pool.join(); }

    void Push(const Body& body, Handle& handle)
    {
        Job job(body);
        handle = job.GetFuture();
        boost::asio::post(m_Pool, [job = std::move(job)]() mutable { job.Run(); });
    }

private:
    boost::asio::thread_pool m_Pool;
};
#endif

#ifdef BENCH_TBB
class TbbPool : public PeerBase {
public:
    static constexpr const char* NAME = "tbb";
    explicit TbbPool(int nWorkers)
        : m_Control(oneapi::tbb::global_control::max_allowed_parallelism,
                    static_cast<std::size_t>(nWorkers) + 1),
          m_Arena(nWorkers + 1, 1)
    {
    }

    void Push(const Body& body, Handle& handle)
    {
        Call call{Job(body)};
        handle = call.m_Job.GetFuture();
        m_Arena.enqueue(std::move(call));
    }

private:
    /// enqueue() calls a functor that is const.
    struct Call {
        mutable Job m_Job;
        void operator()() const { m_Job.Run(); }
    };

    oneapi::tbb::global_control m_Control;
    oneapi::tbb::task_arena m_Arena;
};
#endif

class AceQueuePool : public PeerBase {
public:
    static constexpr const char* NAME = "ace_mq";
    explicit AceQueuePool(int nWorkers)
    {
        m_Task.msg_queue()->high_water_mark(static_cast<std::size_t>(-1));
        m_Task.activate(THR_NEW_LWP | THR_JOINABLE, nWorkers);
    }
    ~AceQueuePool()
    {
        m_Task.msg_queue()->deactivate();
        m_Task.wait();
    }

    void Push(const Body& body, Handle& handle)
    {
        auto* const pJob = new Job(body);
        handle = pJob->GetFuture();
        // NOLINTNEXTLINE(bugprone-sizeof-expression): the block carries the pointer
        m_Task.putq(new ACE_Message_Block(reinterpret_cast<const char*>(pJob), sizeof(Job*)));
    }

private:
    class Worker : public ACE_Task<ACE_MT_SYNCH> {
    public:
        int svc() override
        {
            ACE_Message_Block* pBlock = nullptr;
            while (getq(pBlock) != -1) {
                const std::unique_ptr<Job> job(reinterpret_cast<Job*>(pBlock->base()));
                pBlock->release();
                job->Run();
            }
            return 0;
        }
    };

    Worker m_Task;
};

#ifdef BENCH_POCO
/// Its thread pool has no queue: its users let the threads of one read notifications.
class PocoPool : public PeerBase {
public:
    static constexpr const char* NAME = "poco";
    explicit PocoPool(int nWorkers) : m_Pool(nWorkers, nWorkers), m_Worker(m_Queue)
    {
        for (int i = 0; i < nWorkers; ++i) m_Pool.start(m_Worker);
    }
    ~PocoPool()
    {
        // Each worker that finds the queue woken ends.
        for (int i = 0; i < m_Pool.allocated(); ++i) m_Queue.enqueueNotification(new Poco::Notification);
        m_Pool.joinAll();
    }
    PocoPool(const PocoPool&) = delete;
    PocoPool& operator=(const PocoPool&) = delete;

    void Push(const Body& body, Handle& handle)
    {
        Poco::AutoPtr<JobNotification> pJob(new JobNotification(body));
        handle = pJob->m_Job.GetFuture();
        m_Queue.enqueueNotification(pJob);
    }

private:
    struct JobNotification : Poco::Notification {
        explicit JobNotification(const Body& body) : m_Job(body) {}
        Job m_Job;
    };

    class Worker : public Poco::Runnable {
    public:
        explicit Worker(Poco::NotificationQueue& queue) : m_Queue(queue) {}
        void run() override
        {
            for (;;) {
                Poco::AutoPtr<Poco::Notification> pNext(m_Queue.waitDequeueNotification());
                auto* const pJob = dynamic_cast<JobNotification*>(pNext.get());
                if (pJob == nullptr) return;
                pJob->m_Job.Run();
            }
        }

    private:
        Poco::NotificationQueue& m_Queue;
    };

    Poco::NotificationQueue m_Queue;
    Poco::ThreadPool m_Pool;
    Worker m_Worker;
};
#endif

#ifdef BENCH_LOCKFREE
/// Threads at a lock-free queue, whose semaphore turns some time before it sleeps.
class LockFreePool : public PeerBase {
public:
    static constexpr const char* NAME = "lockfree";
    explicit LockFreePool(int nWorkers)
    {
        for (int i = 0; i < nWorkers; ++i) m_Workers.emplace_back([this] { Work(); });
    }
    ~LockFreePool()
    {
        for (std::size_t i = 0; i < m_Workers.size(); ++i) m_Queue.enqueue(std::nullopt);
        for (std::thread& worker : m_Workers) worker.join();
    }
    LockFreePool(const LockFreePool&) = delete;
    LockFreePool& operator=(const LockFreePool&) = delete;

    void Push(const Body& body, Handle& handle)
    {
        Job job(body);
        handle = job.GetFuture();
        m_Queue.enqueue(std::move(job));
    }

private:
    void Work()
    {
        for (;;) {
            std::optional<Job> job;  // none: the end
            m_Queue.wait_dequeue(job);
            if (!job) return;
            job->Run();
        }
    }

    moodycamel::BlockingConcurrentQueue<std::optional<Job>> m_Queue;
    std::vector<std::thread> m_Workers;
};
#endif

/// What one does without a pool. The number of workers says nothing to it.
class ThreadPerTask : public PeerBase {
public:
    static constexpr const char* NAME = "thread";
    explicit ThreadPerTask(int /*nWorkers*/) {}

    static void Push(const Body& body, Handle& handle)
    {
        Job job(body);
        handle = job.GetFuture();
        std::thread([job = std::move(job)]() mutable { job.Run(); }).detach();
    }
};

}  // namespace poolbench
