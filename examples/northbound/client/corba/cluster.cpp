#include "client/corba/cluster.h"

#include <algorithm>
#include <random>
#include <tuple>

#include "client/corba/pages.h"

namespace northbound {
namespace {

constexpr std::size_t MOST_SERVERS = 100;

}  // namespace

std::vector<Neighbour> ByLoad(const Northbound::ServerList& servers)
{
    std::vector<const Northbound::Server*> order;
    order.reserve(servers.length());
    for (CORBA::ULong i = 0; i < servers.length(); ++i) order.push_back(&servers[i]);
    std::shuffle(order.begin(), order.end(), std::random_device());
    const auto rank = [](const Northbound::Server* p) { return std::make_tuple(p->lease < 0, p->load); };
    std::stable_sort(order.begin(), order.end(),
                     [&rank](const auto* pLeft, const auto* pRight) { return rank(pLeft) < rank(pRight); });
    order.resize(std::min(order.size(), MOST_SERVERS));
    std::vector<Neighbour> neighbours;
    neighbours.reserve(order.size());
    for (const Northbound::Server* const pServer : order) {
        neighbours.push_back({pServer->name.in(), pServer->address.in()});
    }
    return neighbours;
}

bool JoinCluster(const Session& session)
{
    const Northbound::ServerList_var servers = AllServers(session);
    if (servers->length() == 0) return false;
    session.Adopt(ByLoad(servers.in()));
    return true;
}

}  // namespace northbound
