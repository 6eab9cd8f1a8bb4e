/// \file
/// What the tests of a pool's tasks share.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "task/pooltesting.h"

namespace nbitest {

using Names = std::vector<std::string>;

/// A pool without workers: the test takes the tasks itself.
class TaskQueueTest : public PoolTest {
protected:
    /// A task that tells when it goes. It has not been pushed.
    TestTask* Named(const std::string& name, Action body = {})
    {
        return new TestTask(m_Descriptor, std::move(body), [this, name] { m_Gone.push_back(name); });
    }
    TestTask* Pushed(const std::string& name, Action body = {})
    {
        TestTask* const pTask = Named(name, std::move(body));
        m_Pool.PushTask(pTask);
        return pTask;
    }

    NS_UTIL::AD m_Descriptor;  // of all tasks: these tests do not wait
    Names m_Gone;              // the names of the deleted tasks, in order
    NS_UTIL::NBITaskMgr m_Pool{5};
};

}  // namespace nbitest
