#include <iostream>

#include "client/commands/commands.h"
#include "client/corba/pages.h"
#include "client/texts/texts.h"
#include "client/view/clusterview.h"
#include "client/view/json.h"

namespace northbound {

int ShowCluster(const Session& session, const OutputOptions& output)
{
    const Northbound::ServerList_var servers = AllServers(session);
    const Northbound::OpenOrderList_var orders = AllOrders(session);
    if (output.m_bJson) {
        std::cout
            << JsonObject().Raw("servers", ToJson(servers.in())).Raw("orders", ToJson(orders.in())).Done()
            << '\n';
        return EXIT_DONE;
    }
    if (servers->length() == 0) {
        std::cout << Say("{1} is alone: it shares no book", {session.Address()}) << '\n';
    } else {
        Print(servers.in());
        std::cout << '\n';
    }
    Print(orders.in());
    return EXIT_DONE;
}

}  // namespace northbound
