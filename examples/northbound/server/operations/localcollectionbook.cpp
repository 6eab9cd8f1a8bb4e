#include "server/operations/localcollectionbook.h"

#include <list>
#include <map>
#include <memory>
#include <utility>

#include "nbiutil/async.h"
#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"
#include "server/serving/failure.h"
#include "server/serving/runinpool.h"

namespace northbound {
namespace {

using NS_UTIL::ThreadContextInfo;

constexpr const char* MODULE = "collectionbook";
constexpr unsigned int HUGE_POOL = 2;

[[noreturn]] void ThrowRefused()
{
    ThrowFailure(NS_UTIL::ErrCode::HUGE_TASK_LIMIT, MODULE,
                 "as many collections are running as may, on the whole or at this port");
}

/// A collection's entry on the board, which goes with its task.
class BoardEntry {
public:
    /// \throws ProcessException HUGE_TASK_LIMIT
    BoardEntry(CollectionBoard& board, std::string operation, const CollectionProgress& progress)
        : m_Board(board), m_Operation(std::move(operation))
    {
        if (m_Board.Enter(m_Operation, progress)) return;
        NS_UTIL::NBITaskMgr::GetTaskMgr(HUGE_POOL)->CountRefused(NS_UTIL::ErrCode::HUGE_TASK_LIMIT);
        ThrowRefused();
    }
    ~BoardEntry() { m_Board.Leave(m_Operation); }
    BoardEntry(const BoardEntry&) = delete;
    BoardEntry& operator=(const BoardEntry&) = delete;

    const std::string& Operation() const { return m_Operation; }

private:
    CollectionBoard& m_Board;
    const std::string m_Operation;
};

/// At its end the collection's place is free: whoever has the answer may order the next one.
class Departure {
public:
    Departure(const CollectionEnvironment& environment, const std::string& operation)
        : m_Environment(environment), m_Operation(operation)
    {
    }
    ~Departure()
    {
        if (!m_Environment.m_Stop.IsRaised()) m_Environment.m_Board.AwaitLeave(m_Operation);
    }
    Departure(const Departure&) = delete;
    Departure& operator=(const Departure&) = delete;

private:
    const CollectionEnvironment& m_Environment;
    const std::string& m_Operation;
};

/// \param nPerPort collections of \p dn that may run; one more still begins, and 0 sets no limit
NS_UTIL::HugeRequest HugeRequestFor(const std::string& dn, int nPerPort)
{
    NS_UTIL::HugeRequest huge;
    huge.Synchronous().Of(dn + " ");
    if (nPerPort > 0) huge.AtMost(nPerPort + 1);
    return huge;
}

/// The book tells operation UUIDs with their tags.
std::string Bare(const std::string& operation)
{
    ThreadContextInfo info;
    info.SetOperUUID(operation);
    return info.GetBareOperUUID();
}

}  // namespace

LocalCollectionBook::LocalCollectionBook(NS_UTIL::DBAgent& agent, CollectionEnvironment environment)
    : m_Agent(agent), m_Environment(std::move(environment))
{
}

CollectionOutcome LocalCollectionBook::Collect(const CollectionPlan& plan)
{
    CollectionBoard& board = m_Environment.m_Board;
    const NS_UTIL::HugeScope huge(HugeRequestFor(plan.m_Dn, board.Limits().m_nPerPort));
    const ThreadContextInfo request = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext();
    const std::string operation = request.GetBareOperUUID();
    auto pEntry = std::make_shared<const BoardEntry>(
        board, operation, CollectionProgress{plan.m_Dn, request.GetUserInfo(), 0, plan.Samples()});
    const Departure departure(m_Environment, operation);
    try {
        return ResultFromPool(m_Agent, HUGE_POOL, [this, plan, pEntry = std::move(pEntry)] {
            return TakeSamples(m_Environment, plan, pEntry->Operation());
        });
    } catch (const NS_UTIL::ProcessException& e) {
        if (e.GetErrorCode() == NS_UTIL::ErrCode::HUGE_TASK_LIMIT) ThrowRefused();  // with a detail
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
