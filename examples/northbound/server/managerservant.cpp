#include "managerservant.h"

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <utility>

#include "failure.h"
#include "names.h"
#include "nbihost/standalone.h"
#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextmgr.h"
#include "peeraddress.h"
#include "secrettask.h"
#include "upkeeptasks.h"

namespace northbound {
namespace {

using NS_UTIL::AD;
using NS_UTIL::ProcessException;

constexpr const char* MODULE = "managerservant";

constexpr unsigned int POOL_INVENTORY = 0;
constexpr unsigned int POOL_COUNTERS = 1;
constexpr unsigned int POOL_UPKEEP = 0;
constexpr unsigned int POOL_SECRETS = 1;
constexpr unsigned int POOL_HUGE = 2;

constexpr unsigned int MIN_INTERVAL = 10;                   // milliseconds
constexpr unsigned int MAX_DURATION = 24U * 3600U * 1000U;  // milliseconds

/// A descriptor that says failure until its task ends. Waking a queued task at a shutdown leaves the code as
/// it is, so one that started with success would answer a request that nobody carried out.
AD PendingDescriptor()
{
    AD descriptor;
    descriptor.SetErrorCode(ErrCode::NOT_CARRIED_OUT);
    descriptor.SetErrorInfo("the server stopped before it could answer this request");
    return descriptor;
}

/// The message is "ErrCode:<code>,Detail:<detail>".
std::string DetailOf(ProcessException& failure)
{
    const std::string message = failure.MessageStream().str();
    const std::string mark = ",Detail:";
    const std::size_t nMark = message.find(mark);
    const std::string detail = nMark == std::string::npos ? message : message.substr(nMark + mark.size());
    if (!detail.empty() || failure.GetErrorCode() != NS_UTIL::ErrCode::HUGE_TASK_LIMIT) return detail;
    return "as many collections are running as may, on the whole or at this port";
}

[[noreturn]] void Answer(unsigned int nCode, const std::string& detail)
{
    nbihost::Log(nbihost::LOG_LEVEL_WARNING, MODULE, "the request fails with code 0x%08X: %s", nCode,
                 detail.c_str());
    throw Northbound::OperationFailed(nCode, detail.c_str());
}

void FillIn(Northbound::FigureList& list, const Catalogue& catalogue, const Figures& figures)
{
    list.length(static_cast<CORBA::ULong>(figures.size()));
    for (std::size_t i = 0; i < figures.size(); ++i) {
        Northbound::Figure& figure = list[static_cast<CORBA::ULong>(i)];
        figure.name = catalogue.m_Columns[i].m_Name.c_str();
        figure.unit = catalogue.m_Columns[i].m_Unit.c_str();
        figure.known = figures[i].has_value();
        figure.value = figures[i].value_or(0);
    }
}

void FillIn(Northbound::Column& result, const Column& column)
{
    result.table = column.m_Table.c_str();
    result.name = column.m_Name.c_str();
    result.title = column.m_Title.c_str();
    result.unit = column.m_Unit.c_str();
    result.type = column.m_bCounter ? "counter" : "gauge";
    result.direction = column.m_Direction.c_str();
    result.brief = column.m_bBrief;
}

void FillIn(Northbound::Port& port, const PortFacts& facts, const std::string& dn)
{
    port.dn = dn.c_str();
    port.name = facts.m_Name.c_str();
    port.state = facts.m_State.c_str();
    port.hardwareAddress = facts.m_HardwareAddress.c_str();
    port.addresses.length(static_cast<CORBA::ULong>(facts.m_Addresses.size()));
    CORBA::ULong nIndex = 0;
    for (const std::string& address : facts.m_Addresses) port.addresses[nIndex++] = address.c_str();
    port.mtu = facts.m_nMtu;
    port.speed = facts.m_nSpeed;
}

void FillIn(Northbound::HugeTask& task, const std::string& operation, const std::string& list,
            const CollectionProgress& progress)
{
    task.operation = BareUuid(operation).c_str();
    task.list = list.c_str();
    task.dn = progress.m_Dn.c_str();
    task.user = progress.m_User.c_str();
    task.samplesTaken = progress.m_nTaken;
    task.samplesPlanned = progress.m_nPlanned;
}

PackMethod ToMethod(const std::string& method)
{
    if (method == "gzip") return PackMethod::GZIP;
    if (method == "tar") return PackMethod::TAR;
    if (method == "zip") return PackMethod::ZIP;
    Fail(ErrCode::BAD_ARGUMENT, MODULE, "\"" + method + "\" is no method of packing: gzip, tar and zip are");
}

void CheckUser(const std::string& user)
{
    if (user.size() > RequestScope::MAX_USER) {
        Fail(ErrCode::BAD_ARGUMENT, MODULE,
             "the user's name is longer than " + std::to_string(RequestScope::MAX_USER) + " characters");
    }
}

}  // namespace

ManagerServant::ManagerServant(const Settings& settings, Catalogue catalogue, ConfigEditor& editor,
                               StopSignal& stop, std::function<void()> requestStop)
    : m_nPerPortLimit(settings.m_nPerPortLimit),
      m_Element{Machine(), std::move(catalogue)},
      m_Place{m_Element, m_Board, stop, settings.m_CollectionDirectory},
      m_Packer(settings.m_CollectionDirectory),
      m_Editor(editor),
      m_Agent("northbound", settings.m_nHugeTaskLimit),
      m_RequestStop(std::move(requestStop))
{
}

template <class Body>
auto ManagerServant::Serve(const Operation& operation, const Northbound::Caller& who, Body body)
    -> decltype(body())
{
    const std::string user = who.user.in();
    const RequestScope scope(operation, user);
    try {
        CheckUser(user);
        if (operation.m_bNeedsLogin) m_Sessions.CheckAllowed(user);
        nbihost::Log(nbihost::LOG_LEVEL_INFO, MODULE, "request accepted");
        return body();
    } catch (ProcessException& e) {
        Answer(e.GetErrorCode(), DetailOf(e));
    } catch (const std::exception& e) {
        Answer(ErrCode::INTERNAL, e.what());
    }
}

void ManagerServant::Carry(NS_UTIL::NBITask* pTask, unsigned int nPool, AD& descriptor)
{
    NS_UTIL::TaskPoolMgr::PushTask(m_Agent, pTask, nPool);
    descriptor.Wait();
}

Northbound::PortList* ManagerServant::Inventory(const Northbound::Caller& who)
{
    return Serve(INVENTORY, who, [this] {
        AD descriptor = PendingDescriptor();
        const auto pAnswer = std::make_shared<PortList>();
        Carry(new InventoryTask(m_Agent, descriptor, m_Element, pAnswer), POOL_INVENTORY, descriptor);
        Northbound::PortList_var ports = new Northbound::PortList;
        ports->length(static_cast<CORBA::ULong>(pAnswer->size()));
        CORBA::ULong nIndex = 0;
        for (const PortEntry& entry : *pAnswer) {
            Northbound::Port& port = ports[nIndex++];
            FillIn(port, entry.m_Facts, m_Element.m_Machine.DistinguishedName(entry.m_Facts.m_Name));
            FillIn(port.counting, m_Element.m_Catalogue, entry.m_Figures);
        }
        return ports._retn();
    });
}

Northbound::ColumnList* ManagerServant::Columns(const Northbound::Caller& who)
{
    return Serve(COLUMNS, who, [this] {
        Northbound::ColumnList_var columns = new Northbound::ColumnList;
        columns->length(static_cast<CORBA::ULong>(m_Element.m_Catalogue.m_Columns.size()));
        CORBA::ULong nIndex = 0;
        for (const Column& column : m_Element.m_Catalogue.m_Columns) FillIn(columns[nIndex++], column);
        return columns._retn();
    });
}

Northbound::Reading* ManagerServant::ReadCounters(const Northbound::Caller& who, const char* pDn)
{
    return Serve(COUNTERS, who, [this, pDn] {
        AD descriptor = PendingDescriptor();
        const auto pAnswer = std::make_shared<Reading>();
        Carry(new CountersTask(m_Agent, descriptor, m_Element, pDn, pAnswer), POOL_COUNTERS, descriptor);
        Northbound::Reading_var reading = new Northbound::Reading;
        reading->dn = pDn;
        reading->takenAt = pAnswer->m_Time.c_str();
        FillIn(reading->counting, m_Element.m_Catalogue, pAnswer->m_Figures);
        return reading._retn();
    });
}

Northbound::CollectionResult* ManagerServant::Collect(const Northbound::Caller& who,
                                                      const Northbound::CollectionOrder& work)
{
    return Serve(COLLECT, who, [this, &work] {
        const CollectionPlan plan = CheckedPlan(work);
        MarkAsHuge(plan.m_Dn, m_nPerPortLimit);
        AD descriptor = PendingDescriptor();
        const auto pAnswer = std::make_shared<CollectionOutcome>();
        Carry(new CollectionTask(m_Agent, descriptor, m_Place, plan, pAnswer), POOL_HUGE, descriptor);
        Northbound::CollectionResult_var result = new Northbound::CollectionResult;
        const std::string operation = NS_UTIL::ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID();
        result->operation = BareUuid(operation).c_str();
        result->file = pAnswer->m_File.c_str();
        result->samples = pAnswer->m_nSamples;
        FillIn(result->increase, m_Element.m_Catalogue, pAnswer->m_Increase);
        return result._retn();
    });
}

/// Checked on the request thread, before the limits: nothing that does not exist enters the book of huge
/// tasks.
CollectionPlan ManagerServant::CheckedPlan(const Northbound::CollectionOrder& work) const
{
    CollectionPlan plan;
    plan.m_Dn = work.dn.in();
    plan.m_Port = m_Element.m_Machine.PortOf(plan.m_Dn);
    plan.m_nInterval = work.interval;
    plan.m_nDuration = work.duration;
    if (plan.m_nInterval < MIN_INTERVAL) {
        Fail(ErrCode::BAD_ARGUMENT, MODULE,
             "an interval of " + std::to_string(plan.m_nInterval) + " ms is below " +
                 std::to_string(MIN_INTERVAL) + " ms");
    }
    if (plan.m_nDuration < plan.m_nInterval || plan.m_nDuration > MAX_DURATION) {
        Fail(ErrCode::BAD_ARGUMENT, MODULE,
             "a duration of " + std::to_string(plan.m_nDuration) +
                 " ms is shorter than the interval or longer than a day");
    }
    return plan;
}

void ManagerServant::Login(const Northbound::Caller& who, const char* pCipher)
{
    Serve(LOGIN, who, [this, pCipher] {
        AD descriptor = PendingDescriptor();
        Carry(new LoginTask(m_Agent, descriptor, m_Sessions, pCipher, PeerAddress()), POOL_SECRETS,
              descriptor);
    });
}

Northbound::UserSessionList* ManagerServant::Sessions(const Northbound::Caller& who)
{
    return Serve(SESSIONS, who, [this] {
        Northbound::UserSessionList_var sessions = new Northbound::UserSessionList;
        for (const NS_UTIL::UserPara& user : m_Sessions.List()) {
            const CORBA::ULong nIndex = sessions->length();
            sessions->length(nIndex + 1);
            sessions[nIndex].user = user.GetFirstText().c_str();
            sessions[nIndex].since = user.GetSecondText().c_str();
            sessions[nIndex].address = user.GetIPAndPort().c_str();
        }
        return sessions._retn();
    });
}

Northbound::PackResult* ManagerServant::Pack(const Northbound::Caller& who, const Northbound::PackOrder& work)
{
    return Serve(PACK, who, [this, &work] {
        const PackMethod method = ToMethod(work.method.in());
        if (work.perArchive == 0) Fail(ErrCode::BAD_ARGUMENT, MODULE, "an archive holds at least one file");
        AD descriptor = PendingDescriptor();
        const auto pAnswer = std::make_shared<PackOutcome>();
        Carry(new PackTask(m_Agent, descriptor, m_Packer, method, work.perArchive, pAnswer), POOL_UPKEEP,
              descriptor);
        Northbound::PackResult_var result = new Northbound::PackResult;
        result->archives.length(static_cast<CORBA::ULong>(pAnswer->m_Archives.size()));
        CORBA::ULong nIndex = 0;
        for (const std::string& archive : pAnswer->m_Archives) result->archives[nIndex++] = archive.c_str();
        result->waiting = static_cast<CORBA::ULong>(pAnswer->m_nWaiting);
        return result._retn();
    });
}

void ManagerServant::SetItem(const Northbound::Caller& who, const char* pKey, const char* pValue)
{
    Serve(CONFIG, who, [this, pKey, pValue] {
        AD descriptor = PendingDescriptor();
        Carry(new SetItemTask(m_Agent, descriptor, m_Editor, pKey, pValue), POOL_UPKEEP, descriptor);
    });
}

Northbound::HugeTaskList* ManagerServant::HugeTasks(const Northbound::Caller& who)
{
    return Serve(TASKS, who, [this] {
        std::map<std::string, std::list<std::string>> running;
        NS_UTIL::HugeTaskMgr::Instance()->GetHuTaskMap(running);
        Northbound::HugeTaskList_var tasks = new Northbound::HugeTaskList;
        for (const auto& [list, operations] : running) {
            for (const std::string& operation : operations) {
                const CORBA::ULong nIndex = tasks->length();
                tasks->length(nIndex + 1);
                FillIn(tasks[nIndex], operation, list, m_Board.Find(operation));
            }
        }
        return tasks._retn();
    });
}

Northbound::Bytes* ManagerServant::PublicKey(const Northbound::Caller& who)
{
    return Serve(PUBLIC_KEY, who, [] {
        NS_UTIL::LocalRsaKeyMgr& keys = *NS_UTIL::LocalRsaKeyMgr::Instance();
        const auto nLength = static_cast<CORBA::ULong>(keys.GetLocalRsaPublicKeyLen());
        Northbound::Bytes_var key = new Northbound::Bytes;
        key->length(nLength);
        std::copy_n(keys.GetLocalRsaPublicKey(), nLength, key->get_buffer());
        return key._retn();
    });
}

CORBA::ULong ManagerServant::SendSecret(const Northbound::Caller& who, const char* pCipher)
{
    return Serve(SECRET, who, [this, pCipher] {
        AD descriptor = PendingDescriptor();
        const auto pAnswer = std::make_shared<unsigned int>(0);
        Carry(new SecretTask(m_Agent, descriptor, pCipher, pAnswer), POOL_SECRETS, descriptor);
        return CORBA::ULong{*pAnswer};
    });
}

void ManagerServant::Stop(const Northbound::Caller& who)
{
    Serve(STOP, who, [this] { m_RequestStop(); });
}

}  // namespace northbound
