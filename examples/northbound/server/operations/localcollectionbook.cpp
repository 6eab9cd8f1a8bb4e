#include "server/operations/localcollectionbook.h"

#include <list>
#include <map>
#include <memory>
#include <utility>

#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"
#include "server/serving/failure.h"
#include "server/serving/requestscope.h"
#include "server/serving/runinpool.h"

namespace northbound {
namespace {

using NS_UTIL::ThreadContextInfo;

constexpr const char* MODULE = "collectionbook";
constexpr unsigned int HUGE_POOL = 2;

/// A collection's entry on the board, which goes with its task.
class BoardEntry {
public:
    BoardEntry(CollectionBoard& board, std::string operation, const CollectionProgress& progress)
        : m_Board(board), m_Operation(std::move(operation))
    {
        m_Board.Enter(m_Operation, progress);
    }
    ~BoardEntry() { m_Board.Leave(m_Operation); }
    BoardEntry(const BoardEntry&) = delete;
    BoardEntry& operator=(const BoardEntry&) = delete;

    const std::string& Operation() const { return m_Operation; }

private:
    CollectionBoard& m_Board;
    const std::string m_Operation;
};

std::shared_ptr<const BoardEntry> EntryFor(CollectionBoard& board, const CollectionPlan& plan)
{
    const ThreadContextInfo request = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
    return std::make_shared<const BoardEntry>(
        board, request.GetBareOperUUID(),
        CollectionProgress{plan.m_Dn, request.GetUserInfo(), 0, plan.Samples()});
}

/// The book tells operation UUIDs with their tags.
std::string Bare(const std::string& operation)
{
    ThreadContextInfo info;
    info.SetOperUUID(operation);
    return info.GetBareOperUUID();
}

/// The library's refusal has no detail.
[[noreturn]] void ThrowRefused()
{
    ThrowFailure(NS_UTIL::ErrCode::HUGE_TASK_LIMIT, MODULE,
                 "as many collections are running as may, on the whole or at this port");
}

}  // namespace

LocalCollectionBook::LocalCollectionBook(NS_UTIL::DBAgent& agent, CollectionEnvironment environment,
                                         int nPerPortLimit)
    : m_Agent(agent), m_Environment(std::move(environment)), m_nPerPortLimit(nPerPortLimit)
{
}

CollectionOutcome LocalCollectionBook::Collect(const CollectionPlan& plan)
{
    MarkAsHuge(plan.m_Dn, m_nPerPortLimit);
    const std::shared_ptr<const BoardEntry> pEntry = EntryFor(m_Environment.m_Board, plan);
    try {
        return ResultFromPool(m_Agent, HUGE_POOL, [this, plan, pEntry] {
            return TakeSamples(m_Environment, plan, pEntry->Operation());
        });
    } catch (const NS_UTIL::ProcessException& e) {
        if (e.GetErrorCode() == NS_UTIL::ErrCode::HUGE_TASK_LIMIT) ThrowRefused();
        throw;
    }
}

std::vector<RunningCollection> LocalCollectionBook::Running() const
{
    std::map<std::string, std::list<std::string>> book;
    NS_UTIL::HugeTaskMgr::Instance()->GetHuTaskMap(book);
    std::vector<RunningCollection> running;
    for (const auto& [list, operations] : book) {
        for (const std::string& tagged : operations) {
            const std::string operation = Bare(tagged);
            running.push_back({operation, list, m_Environment.m_Board.Find(operation)});
        }
    }
    return running;
}

}  // namespace northbound
