#include "server/corba/translation.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>

namespace northbound {
namespace {

/// Makes \p list as long as \p items and fills it in, one by one.
template <class List, class Items, class Fill>
void FillEach(List& list, const Items& items, Fill fill)
{
    list.length(static_cast<CORBA::ULong>(items.size()));
    CORBA::ULong nIndex = 0;
    for (const auto& item : items) fill(list[nIndex++], item);
}

template <class Texts>
void FillIn(Northbound::TextList& list, const Texts& texts)
{
    FillEach(list, texts, [](auto&& element, const std::string& text) { element = text.c_str(); });
}

void FillIn(Northbound::FigureList& list, const NamedFigures& figures)
{
    FillEach(list, figures, [](Northbound::Figure& figure, const NamedFigure& from) {
        figure.name = from.m_Name.c_str();
        figure.unit = from.m_Unit.c_str();
        figure.known = from.m_Value.has_value();
        figure.value = from.m_Value.value_or(0);
    });
}

void FillIn(Northbound::Port& port, const Inventory::Port& from)
{
    port.dn = from.m_Dn.c_str();
    port.name = from.m_Facts.m_Name.c_str();
    port.state = from.m_Facts.m_State.c_str();
    port.hardwareAddress = from.m_Facts.m_HardwareAddress.c_str();
    FillIn(port.addresses, from.m_Facts.m_Addresses);
    port.mtu = from.m_Facts.m_nMtu;
    port.speed = from.m_Facts.m_nSpeed;
    FillIn(port.counting, from.m_Figures);
}

void FillIn(Northbound::Column& column, const Column& from)
{
    column.table = from.m_Table.c_str();
    column.name = from.m_Name.c_str();
    column.title = from.m_Title.c_str();
    column.unit = from.m_Unit.c_str();
    column.type = from.m_bCounter ? "counter" : "gauge";
    column.direction = from.m_Direction.c_str();
    column.brief = from.m_bBrief;
}

void FillIn(Northbound::HugeTask& task, const RunningCollection& from)
{
    task.operation = from.m_Operation.c_str();
    task.list = from.m_List.c_str();
    task.dn = from.m_Dn.c_str();
    task.user = from.m_User.c_str();
    task.samplesTaken = from.m_nTaken;
    task.samplesPlanned = from.m_nPlanned;
}

void FillIn(Northbound::StoredFile& file, const CollectionFile& from)
{
    file.name = from.m_Name.c_str();
    file.state = from.m_State.c_str();
    file.bytes = from.m_nBytes;
    file.age =
        static_cast<CORBA::ULongLong>(std::chrono::duration_cast<std::chrono::seconds>(from.m_Age).count());
}

void FillIn(Northbound::UserSession& session, const Sessions::Session& from)
{
    session.user = from.m_User.c_str();
    session.since = from.m_Since.c_str();
    session.address = from.m_Address.c_str();
    session.role = NameOf(from.m_Role);
}

const char* NameOf(CollectionPhase phase)
{
    switch (phase) {
        case CollectionPhase::WAITING:
            return "waiting";
        case CollectionPhase::RUNNING:
            return "running";
        default:
            return "ended";
    }
}

void FillIn(Northbound::Part& part, const CollectionShare& from)
{
    part.server = from.m_Part.m_Server.c_str();
    part.file = from.m_File.c_str();
    part.first = from.m_Part.m_nFirst;
    part.samples = from.m_Part.m_nTaken;
}

void FillIn(Northbound::OpenOrder& order, const OpenOrder& from)
{
    const CollectionState& state = from.m_State;
    order.operation = state.m_Order.m_Operation.c_str();
    order.dn = state.m_Order.m_Dn.c_str();
    order.user = state.m_Order.m_User.c_str();
    order.phase = NameOf(state.m_Phase);
    order.server = from.m_Server.c_str();
    order.samplesTaken = state.m_nTaken;
    order.samplesPlanned = state.m_Order.Samples();
    order.note = state.m_Note.c_str();
}

void FillIn(Northbound::Server& server, const ServerState& from)
{
    server.name = from.m_Name.c_str();
    server.address = from.m_Address.c_str();
    server.version = from.m_Version.c_str();
    server.load = from.m_nLoad;
    server.lease = static_cast<CORBA::Long>(std::clamp<std::chrono::milliseconds::rep>(
        from.m_Left.count(), std::numeric_limits<CORBA::Long>::min(),
        std::numeric_limits<CORBA::Long>::max()));
}

void FillIn(Northbound::CollectionResult& result, const OrderProgress& from)
{
    const CollectionState& state = from.m_State;
    result.dn = state.m_Order.m_Dn.c_str();
    result.operation = state.m_Order.m_Operation.c_str();
    result.file = state.m_End.m_File.c_str();
    result.samples = state.m_Order.Samples();
    result.late = state.m_End.m_nLate;
    FillIn(result.increase, from.m_Increase);
}

void FillIn(Northbound::OrderState& order, const OrderProgress& from)
{
    const CollectionState& state = from.m_State;
    order.phase = NameOf(state.m_Phase);
    order.dn = state.m_Order.m_Dn.c_str();
    order.samplesTaken = state.m_nTaken;
    order.samplesPlanned = state.m_Order.Samples();
    order.note = state.m_Note.c_str();
    FillEach(order.parts, from.m_Shares,
             [](Northbound::Part& part, const CollectionShare& share) { FillIn(part, share); });
    const bool bEnded = state.m_Phase == CollectionPhase::ENDED;
    order.code = bEnded ? state.m_End.m_nCode : 0;
    order.detail = bEnded ? state.m_End.m_Detail.c_str() : "";
    if (bEnded && state.m_End.m_nCode == 0) FillIn(order.result, from);
}

/// A page of the interface with an element for each item in its \p list.
template <class IdlPage, class List, class Item>
IdlPage* PageOf(List IdlPage::*list, const Page<Item>& items)
{
    typename IdlPage::_var_type page = new IdlPage;
    FillEach(page.inout().*list, items.m_Items,
             [](auto& element, const Item& item) { FillIn(element, item); });
    page->next = items.m_Next.c_str();
    return page._retn();
}

CORBA::ULongLong ToIdl(std::chrono::nanoseconds duration)
{
    return static_cast<CORBA::ULongLong>(duration.count());
}

Northbound::TaskTimes ToIdl(const NS_UTIL::TaskTimes& times)
{
    Northbound::TaskTimes result;
    result.median = ToIdl(times.m_Median);
    result.p99 = ToIdl(times.m_P99);
    result.longest = ToIdl(times.m_Longest);
    return result;
}

void FillIn(Northbound::Pool& pool, const NS_UTIL::PoolSnapshot& from)
{
    pool.number = from.m_nNumber;
    pool.workers = from.m_nWorkers;
    pool.started = from.m_nStarted;
    pool.busy = from.m_nBusy;
    pool.queued = from.m_nQueued;
    pool.mostQueued = from.m_nMostQueued;
    pool.pushed = from.m_nPushed;
    pool.finished = from.m_nFinished;
    pool.failed = from.m_nFailed;
    pool.dropped = from.m_nDropped;
    pool.deferred = from.m_nDeferred;
    FillEach(pool.refused, from.m_Refused, [](Northbound::Refusals& refusals, const auto& codeAndCount) {
        refusals.code = codeAndCount.first;
        refusals.count = codeAndCount.second;
    });
    pool.waiting = ToIdl(from.m_Waiting);
    pool.running = ToIdl(from.m_Running);
    pool.oldestQueued = ToIdl(from.m_OldestQueued);
    pool.longestBody = ToIdl(from.m_LongestBody);
    pool.longestOperation = from.m_LongestBodyUUID.c_str();
    pool.inBook = from.m_nInBook;
    pool.bookLimit = from.m_nBookLimit;
}

}  // namespace

Northbound::PortPage* ToIdl(const Inventory::Result& result)
{
    return PageOf(&Northbound::PortPage::ports, result);
}

Northbound::ColumnList* ToIdl(const Columns::Result& result)
{
    Northbound::ColumnList_var columns = new Northbound::ColumnList;
    FillEach(columns.inout(), result.m_Columns,
             [](Northbound::Column& column, const Column& from) { FillIn(column, from); });
    return columns._retn();
}

Northbound::Reading* ToIdl(const ReadCounters::Result& result)
{
    Northbound::Reading_var reading = new Northbound::Reading;
    reading->dn = result.m_Dn.c_str();
    reading->takenAt = result.m_TakenAt.c_str();
    FillIn(reading->counting, result.m_Figures);
    return reading._retn();
}

Northbound::CollectionResult* ToIdl(const Collect::Result& result)
{
    Northbound::CollectionResult_var collection = new Northbound::CollectionResult;
    collection->dn = result.m_Dn.c_str();
    collection->operation = result.m_Operation.c_str();
    collection->file = result.m_File.c_str();
    collection->samples = result.m_nSamples;
    collection->late = result.m_nLate;
    FillIn(collection->increase, result.m_Increase);
    return collection._retn();
}

Northbound::HugeTaskPage* ToIdl(const HugeTasks::Result& result)
{
    return PageOf(&Northbound::HugeTaskPage::tasks, result);
}

Northbound::Bytes* ToIdl(const PublicKey::Result& result)
{
    Northbound::Bytes_var key = new Northbound::Bytes;
    key->length(static_cast<CORBA::ULong>(result.m_Der.size()));
    std::copy(result.m_Der.begin(), result.m_Der.end(), key->get_buffer());
    return key._retn();
}

Northbound::UserSessionPage* ToIdl(const Sessions::Result& result)
{
    return PageOf(&Northbound::UserSessionPage::sessions, result);
}

Northbound::StoredFilePage* ToIdl(const Files::Result& result)
{
    return PageOf(&Northbound::StoredFilePage::files, result);
}

Northbound::PackResult* ToIdl(const Pack::Result& result)
{
    Northbound::PackResult_var packed = new Northbound::PackResult;
    FillIn(packed->archives, result.m_Archives);
    packed->made = static_cast<CORBA::ULong>(result.m_nMade);
    packed->waiting = static_cast<CORBA::ULong>(result.m_nWaiting);
    return packed._retn();
}

Northbound::OrderState* ToIdl(const Await::Result& result)
{
    Northbound::OrderState_var order = new Northbound::OrderState;
    FillIn(order.inout(), result);
    return order._retn();
}

Northbound::OpenOrderPage* ToIdl(const Orders::Result& result)
{
    return PageOf(&Northbound::OpenOrderPage::orders, result);
}

Northbound::ServerPage* ToIdl(const Servers::Result& result)
{
    return PageOf(&Northbound::ServerPage::servers, result);
}

Northbound::PartPiece* ToIdl(const Fetch::Result& result)
{
    Northbound::PartPiece_var piece = new Northbound::PartPiece;
    piece->data.length(static_cast<CORBA::ULong>(result.m_Data.size()));
    std::copy(result.m_Data.begin(), result.m_Data.end(), piece->data.get_buffer());
    piece->offset = result.m_nOffset;
    piece->size = result.m_nSize;
    piece->digest = result.m_Digest.c_str();
    return piece._retn();
}

Northbound::PoolReport* ToIdl(const Pools::Result& result)
{
    auto pReport = std::make_unique<Northbound::PoolReport>();
    FillEach(pReport->pools, result.m_Pools,
             [](Northbound::Pool& pool, const NS_UTIL::PoolSnapshot& from) { FillIn(pool, from); });
    pReport->waiting = result.m_Process.m_nWaiting;
    pReport->waitingLong = result.m_Process.m_nWaitingLong;
    pReport->linesLost = result.m_nLinesLost;
    return pReport.release();
}

}  // namespace northbound
