/// \file
/// Requests to a server as the tests send them.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "client/corba/pages.h"
#include "client/corba/session.h"
#include "northbound/programs/programs.h"

namespace northbound {

constexpr unsigned int MINUTE = 60000;  // milliseconds
inline const std::string PASSWORD = "a password of more than fifteen characters";

inline std::string Loopback()
{
    char host[256] = {};
    gethostname(host, sizeof(host) - 1);
    return "ne=" + std::string(host) + ",port=lo";
}

inline Northbound::CollectionOrder Order(unsigned int nInterval, unsigned int nDuration,
                                         const std::string& dn = Loopback())
{
    Northbound::CollectionOrder work;
    work.dn = dn.c_str();
    work.interval = nInterval;
    work.duration = nDuration;
    return work;
}

/// The failure that \p request ends with; code 0 when it does not fail.
inline Northbound::OperationFailed FailureOf(const std::function<void()>& request)
{
    try {
        request();
    } catch (const Northbound::OperationFailed& e) {
        return e;
    }
    return Northbound::OperationFailed(0, "");
}

inline Northbound::Caller CallerOf(const std::string& user)
{
    Northbound::Caller who;
    who.user = user.c_str();
    who.patience = 0;
    return who;
}

inline unsigned int TasksListed(const Session& session)
{
    const Northbound::HugeTaskList_var tasks = AllTasks(session);
    return tasks.in().length();
}

inline void Collect(const Session& session, const Northbound::CollectionOrder& work)
{
    const Northbound::CollectionResult_var result = session.Server()->Collect(session.Who(), work);
}

inline unsigned long long FigureOf(const Northbound::FigureList& figures, const std::string& name)
{
    for (CORBA::ULong i = 0; i < figures.length(); ++i) {
        if (name == figures[i].name.in() && figures[i].known) return figures[i].value;
    }
    ADD_FAILURE() << name << " is not known";
    return 0;
}

inline void ReadCounters(const Session& session, const Northbound::Caller& who, const std::string& dn)
{
    const Northbound::Reading_var reading = session.Server()->ReadCounters(who, dn.c_str());
    EXPECT_EQ(reading.in().dn.in(), dn);
    EXPECT_GT(FigureOf(reading.in().counting, "rxBytes"), 0u);
}

inline void ReadInventory(const Session& session, const Northbound::Caller& who)
{
    const Northbound::PortPage_var page = session.Server()->Inventory(who, "", 0);
    EXPECT_GT(page->ports.length(), 0u);
}

/// Stops the server and expects it to end in order, within every wait that it has.
inline void StopInOrder(Server& server)
{
    server.Process().Signal(SIGTERM);
    EXPECT_EQ(server.Process().Wait(), 0) << server.Process().StandardError();
}

inline bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

}  // namespace northbound
