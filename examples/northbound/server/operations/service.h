/// \file
/// All that the server can do.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <tuple>
#include <utility>

#include "server/operations/administer.h"
#include "server/operations/collect.h"
#include "server/operations/collectionrunner.h"
#include "server/operations/fetch.h"
#include "server/operations/inventory.h"
#include "server/operations/localbook.h"
#include "server/operations/order.h"
#include "server/operations/partfiles.h"
#include "server/operations/pools.h"
#include "server/operations/readcounters.h"
#include "server/operations/secrets.h"
#include "server/operations/sharedrunner.h"
#include "server/serving/dispatcher.h"
#include "server/serving/logingate.h"
#include "server/serving/timetable.h"
#include "server/serving/usersessions.h"
#include "server/upkeep/collectionfiles.h"
#include "server/upkeep/packer.h"
#include "server/upkeep/serversettings.h"

namespace northbound {

/// Where collections write.
inline PartFiles FilesOf(const Settings& settings)
{
    return PartFiles(settings.m_CollectionDirectory, settings.m_Book.m_Server);
}

/// The operations and what they work on. A front end asks, and translates what it gets:
///     const Outcome<ReadCounters::Result> outcome = service.Ask<ReadCounters>(caller, {dn});
/// Threads: any number of request threads. Outlives the front ends and the pools.
class Service {
public:
    using Operations = std::tuple<Inventory, Columns, ReadCounters, Collect, Cancel, HugeTasks, Stop,
                                  PublicKey, SendSecret, Challenge, Login, Logout, Sessions, Pack, SetItem,
                                  Pools, Files, Clean, Order, Await, Orders, Servers, Fetch>;

    /// \param catalogue   which figures the ports have
    /// \param requestStop starts the server's end and returns at once
    /// \param linesLost   how many log lines could not be written
    /// \param pShared     the book that \p settings name; null where they name none: then the server is alone
    Service(const Settings& settings, Catalogue catalogue, ConfigEditor& editor, StopSignal& stop,
            std::function<void()> requestStop, std::function<unsigned long()> linesLost,
            std::unique_ptr<CollectionBook> pShared = nullptr);

    /// Puts the limits of \p settings in force; everything else in them is for the next start.
    void Apply(const Settings& settings);

    /// Tells what a killed server has left, and brings back what it was packing. To be called before the front ends ask.
    void TakeOver();

    /// Takes part in the shared book, where there is one. To be called when the front ends serve.
    /// \param address where
    void Join(const std::string& address);

    /// Takes part no longer, so that other servers go on with its collections at once. To be called when the pools have
    /// ended.
    void Leave();

    /// Removes the files that are kept no longer, once no packing is under way.
    Swept Sweep();

    /// Has files that are kept no longer looked for once an hour.
    void Schedule(Timetable& timetable);

    /// One line in the log: what runs, who is logged in, what waits.
    void LogState();

    template <class Operation>
    Outcome<typename Operation::Result> Ask(const Caller& caller, typename Operation::Request request)
    {
        return m_Dispatcher.Ask(std::get<Operation>(m_Operations), caller, std::move(request));
    }

private:
    std::unique_ptr<CollectionRunner> MakeRunner(const Settings& settings, StopSignal& stop);

    /// Where a total size is set, what is new makes room at once, and not within the hour: the disk is full by then.
    void MakeRoom();
    /// A packing may last longer than callers, and the thread that takes orders, can wait; it makes room at its own end.
    void SweepUnlessPacking();
    Retention Kept();

    const Element m_Element;
    UserSessions m_Sessions;
    LoginGate m_LoginGate;
    Dispatcher m_Dispatcher;
    const std::unique_ptr<CollectionBook> m_pBook;
    CollectionBook& m_Book;
    const PartFiles m_PartFiles;
    SharedRunner* m_pSharedRunner = nullptr;  // null: the server is alone
    const std::unique_ptr<CollectionRunner> m_pRunner;
    CollectionRunner& m_Runner;
    Packer m_Packer;
    const CollectionFiles m_Files;
    std::mutex m_RetentionLock;
    Retention m_Retention;  // guarded by m_RetentionLock
    Operations m_Operations;
};

}  // namespace northbound
