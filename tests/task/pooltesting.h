/// \file
/// What the tests of the pools share.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/processexception.h"
#include "support/tasks.h"

namespace nbitest {

constexpr const char* NOT_IDLE_MESSAGE = "ErrCode:1092091920,Detail:Task state is not idle,cann't Handle!";
constexpr const char* NOT_IDLE_LOGGED = "[NBITaskMgr::PushTask] CALL GetTaskState Task is busy";
constexpr unsigned int PRESET = 4711;  // a code that a caller gives its descriptor before the push
constexpr const char* NOTHING_IDLE_LOGGED = "Acquire Idle Task error!!";

/// What a ProcessException says, in a form that can be compared and kept.
struct Raised {
    bool m_bAny = false;
    unsigned int m_nCode = 0;
    std::string m_File;
    std::string m_Function;
    int m_nLine = 0;
    std::string m_Message;
    std::string m_ErrorInfo;
};

template <class Call>
Raised RaisedBy(Call call)
{
    Raised raised;
    try {
        call();
    } catch (NS_UTIL::ProcessException& failure) {
        raised.m_bAny = true;
        raised.m_nCode = failure.GetErrorCode();
        raised.m_File = failure.FileStream().str();
        raised.m_Function = failure.FunctionStream().str();
        raised.m_nLine = failure.GetLine();
        raised.m_Message = failure.MessageStream().str();
        raised.m_ErrorInfo = failure.ErrorInfoStream().str();
    }
    return raised;
}

inline void ExpectNotIdle(const Raised& raised)
{
    EXPECT_TRUE(raised.m_bAny);
    EXPECT_EQ(raised.m_nCode, 0x41180010U);
    EXPECT_EQ(raised.m_File, "nbitaskmgr");
    EXPECT_EQ(raised.m_Function, "unknown");
    EXPECT_EQ(raised.m_nLine, 175);
    EXPECT_EQ(raised.m_Message, NOT_IDLE_MESSAGE);
}

/// A body that says when it runs and goes on when it is told to.
struct Held {
    Signal m_Started;
    Signal m_GoOn;
    Action Body()
    {
        return [this] {
            m_Started.Set();
            m_GoOn.Wait();
        };
    }
};

/// The code that waiting on a finished descriptor raises; 0 for success.
inline unsigned int CodeOf(NS_UTIL::AD& ad)
{
    return RaisedBy([&ad] { ad.Wait(); }).m_nCode;
}

/// Pools of a test are objects of its own where it can be, so that they end with it. A pool that is not
/// opened has no workers: the test's own thread takes the tasks, step by step. Pools of the registry, which
/// live as long as the process, lose their workers here: a worker that starts while the process ends would
/// meet ACE's locks being taken down.
class PoolTest : public ::testing::Test {
protected:
    ~PoolTest() override
    {
        std::vector<unsigned int> numbers;
        NS_UTIL::NBITaskMgr::GetAllTaskMgrId(numbers);
        for (const unsigned int nNumber : numbers) {
            NS_UTIL::NBITaskMgr* const pPool = NS_UTIL::NBITaskMgr::GetTaskMgr(nNumber);
            pPool->SetExitFlag();
            pPool->wait();
        }
    }

    void UseThreads(int nThreads) { m_Host.SetInt("TaskMgrMaxThreadNum", nThreads); }

    std::unique_ptr<NS_UTIL::NBITaskMgr> Started(int nNumber, int nThreads)
    {
        UseThreads(nThreads);
        auto pPool = std::make_unique<NS_UTIL::NBITaskMgr>(nNumber);
        EXPECT_EQ(pPool->open(nullptr), 0);
        return pPool;
    }

    std::size_t NothingIdleLines() const { return m_Host.LogsAt("nbitaskmgr", 251).size(); }

    std::vector<LogLine> LinesWith(const std::string& text) const
    {
        std::vector<LogLine> found;
        for (const LogLine& line : m_Host.LogsOf("nbitaskmgr")) {
            if (line.m_Text.find(text) != std::string::npos) found.push_back(line);
        }
        return found;
    }

    RecordingHost m_Host;
};

}  // namespace nbitest
