/// \file
/// The pools that bench/pool_bench.cpp compares, each written the way its own users write it, with the same
/// job: the requester's record travels to the worker, is installed there, the body runs, and code and text
/// come back.
#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>

#include "nbihost/recordinghost.h"
#include "nbiutil/ad.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/threadcontextmgr.h"

#ifdef BENCH_ASIO
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#endif
#ifdef BENCH_TBB
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>
#endif
#include <ace/Message_Block.h>
#include <ace/Task.h>

namespace poolbench {

/// What a task runs: processor time, not wall-clock time; a gate keeps the worker until it opens.
struct Body {
    int m_nMicroseconds = 0;
    std::shared_future<void> m_Gate = {};

    void operator()() const
    {
        constexpr int STEPS_PER_MICROSECOND = 1000;
        if (m_Gate.valid()) m_Gate.wait();
        unsigned long nValue = 1;
        for (int i = 0; i < m_nMicroseconds * STEPS_PER_MICROSECOND; ++i) {
            nValue = nValue * 6364136223846793005UL + 1442695040888963407UL;
            asm volatile("" : "+r"(nValue));
        }
    }
};

// This library

class NbiPool {
public:
    static constexpr const char* NAME = "nbiutil";
    using Handle = NS_UTIL::AD;

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

    void Push(const Body& body, Handle& handle) { m_pPool->PushTask(new BodyTask(m_Agent, handle, body)); }
    static void Wait(Handle& handle) { handle.Wait(); }

private:
    class BodyTask : public NS_UTIL::NBITask {
    public:
        BodyTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const Body& body)
            : NBITask(agent, false, descriptor), m_Body(body)
        {
        }
        void Execute() override { m_Body(); }

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

struct Outcome {
    unsigned long m_nCode = 0;
    std::string m_Info;
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
            m_Body();
        } catch (...) {
            outcome.m_nCode = 1;
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
    static void Wait(Handle& handle) { handle.get(); }
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
        auto pJob = std::make_shared<Job>(body);  // enqueue() copies its functor
        handle = pJob->GetFuture();
        m_Arena.enqueue([pJob] { pJob->Run(); });
    }

private:
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

}  // namespace poolbench
