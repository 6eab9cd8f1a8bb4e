#include <iostream>

#include "client/commands/commands.h"
#include "client/corba/pages.h"
#include "client/view/format.h"
#include "client/view/json.h"

namespace northbound {

int ShowInventory(const Session& session, const OutputOptions& output)
{
    const Northbound::PortList_var ports = AllPorts(session);
    const Northbound::ColumnList_var columns = session.Read(
        [](Northbound::Manager_ptr server, const Northbound::Caller& who) { return server->Columns(who); });
    if (output.m_bJson) {
        std::cout << JsonObject().Raw("ports", ToJson(ports.in())).Raw("figures", ToJson(columns.in())).Done()
                  << '\n';
    } else {
        Print(ports.in(), columns.in());
        std::cout << '\n';
        Print(columns.in());
    }
    return EXIT_DONE;
}

int ShowCounters(const Session& session, const OutputOptions& output, const std::string& port)
{
    const Northbound::Reading_var reading =
        session.Read([&port](Northbound::Manager_ptr server, const Northbound::Caller& who) {
            return server->ReadCounters(who, port.c_str());
        });
    if (output.m_bJson) {
        std::cout << ToJson(reading.in()) << '\n';
    } else {
        Print(reading.in());
    }
    return EXIT_DONE;
}

}  // namespace northbound
