/// \file
/// What the tests of the futures share.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "nbihost/recordinghost.h"
#include "nbiutil/async.h"
#include "support/tasks.h"

namespace nbitest {

/// What a failed call tells its caller.
struct Failure {
    unsigned int m_nCode = 0;  // 0: it did not fail
    std::string m_Detail;
    std::string m_ErrorInfo;
    std::string m_File;
    std::string m_Function;
    int m_nLine = 0;
};

template <class Call>
Failure FailureOf(Call call)
{
    try {
        call();
    } catch (const NS_UTIL::ProcessException& failure) {
        return {failure.GetErrorCode(), failure.GetDetail(),   failure.GetErrorInfo(),
                failure.GetFile(),      failure.GetFunction(), failure.GetLine()};
    }
    return {};
}

template <class T>
Failure FailureOf(NS_UTIL::Future<T>& future)
{
    return FailureOf([&future] { future.Get(); });
}

/// Something that bodies hold, counted: what is left when all is over has leaked.
class Counted {
public:
    Counted() { ++Alive(); }
    Counted(const Counted&) { ++Alive(); }
    Counted(Counted&&) noexcept { ++Alive(); }
    ~Counted() { --Alive(); }
    Counted& operator=(const Counted&) = delete;

    static std::atomic<int>& Alive()
    {
        static std::atomic<int> nAlive{0};
        return nAlive;
    }
};

/// Keeps the only worker of a pool until it is opened, at the latest when it goes.
class Gate {
public:
    template <class Pool>
    explicit Gate(Pool&& pool)
    {
        NS_UTIL::Submit(pool, TestAgent(), [pSignals = m_pSignals] {
            pSignals->m_Entered.Set();
            pSignals->m_Opened.Wait();
        });
        m_pSignals->m_Entered.Wait();
    }
    ~Gate() { Open(); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    void Open() { m_pSignals->m_Opened.Set(); }

private:
    struct Signals {
        Signal m_Entered;
        Signal m_Opened;
    };

    const std::shared_ptr<Signals> m_pSignals = std::make_shared<Signals>();  // the body may outlive the gate
};

/// Pool 10, with one worker, on a host of its own.
class AsyncTest : public ::testing::Test {
protected:
    static constexpr unsigned int POOL = 10;

    AsyncTest() { m_Host.SetInt("TaskMgrMaxThreadNum", 1); }

    RecordingHost m_Host;
};

}  // namespace nbitest
