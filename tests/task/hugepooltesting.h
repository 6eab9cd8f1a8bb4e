/// \file
/// What the tests of the huge tasks' pool share.
#pragma once

#include <list>
#include <map>
#include <string>

#include "task/pooltesting.h"

namespace nbitest {

using Book = std::map<std::string, std::list<std::string>>;

constexpr HugeFigures LONG_RUNNING{0, 1, 0, "tasks:"};
constexpr const char* OVERALL_LOGGED = "WARNING:[HugeTaskMgr]  IsOverHTaskNum ";

class HugePoolTest : public PoolTest {
protected:
    static Book Entered()
    {
        Book book;
        NS_UTIL::HugeTaskMgr::Instance()->GetHuTaskMap(book);
        return book;
    }
    /// Enters a task of that kind that no pool knows.
    static NS_UTIL::ThreadContextInfo Enter(const std::string& kind, const std::string& uuid)
    {
        NS_UTIL::ThreadContextInfo info;
        info.SetInterfaceName(kind);
        info.SetOperUUID(uuid);
        NS_UTIL::HugeTaskMgr::Instance()->SetHTskInfo(info);
        return info;
    }
    /// For tests that use the registry's pool: its workers log after the run, and the host goes with the
    /// test.
    static void EndPool2() { NS_UTIL::TaskPoolMgr::ShutDown(); }
    std::size_t OverallLines() const { return m_Host.LogsAt("hugetask", 221).size(); }
    std::size_t SingleLines() const { return m_Host.LogsAt("hugetask", 201).size(); }
};

}  // namespace nbitest
