#include "client/view/clusterview.h"

#include <cstdio>
#include <iostream>

#include "client/texts/texts.h"
#include "client/view/columns.h"
#include "client/view/json.h"
#include "client/view/table.h"

namespace northbound {
namespace {

using Align = Table::Align;

std::string ItemJson(const Northbound::Server& server)
{
    return JsonObject()
        .Text("name", server.name.in())
        .Text("address", server.address.in())
        .Text("version", server.version.in())
        .Number("load", server.load)
        .Number("lease", server.lease)
        .Done();
}

std::string ItemJson(const Northbound::OpenOrder& order)
{
    return JsonObject()
        .Text("operation", order.operation.in())
        .Text("dn", order.dn.in())
        .Text("user", order.user.in())
        .Text("phase", order.phase.in())
        .Text("server", order.server.in())
        .Number("samplesTaken", order.samplesTaken)
        .Number("samplesPlanned", order.samplesPlanned)
        .Text("note", order.note.in())
        .Done();
}

std::string ItemJson(const Northbound::Part& part)
{
    return JsonObject()
        .Text("server", part.server.in())
        .Text("file", part.file.in())
        .Number("first", part.first)
        .Number("samples", part.samples)
        .Done();
}

template <class List>
std::string ListJson(const List& list)
{
    std::vector<std::string> items;
    items.reserve(list.length());
    for (CORBA::ULong i = 0; i < list.length(); ++i) items.push_back(ItemJson(list[i]));
    return JsonArray(items);
}

std::string PhaseText(const std::string& phase)
{
    if (phase == "waiting") return Say("waiting");
    return phase == "running" ? Say("running") : Printable(phase);
}

}  // namespace

std::string ToJson(const Northbound::ServerList& servers)
{
    return ListJson(servers);
}

std::string ToJson(const Northbound::OpenOrderList& orders)
{
    return ListJson(orders);
}

std::string ToJson(const Northbound::PartList& parts)
{
    return ListJson(parts);
}

std::string LeaseText(const Northbound::Server& server)
{
    if (server.lease < 0) return Say("over");
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f s", server.lease / 1000.0);
    return text;
}

void Print(const Northbound::ServerList& servers)
{
    Table table({{Say("SERVER"), Align::LEFT},
                 {Say("ADDRESS"), Align::LEFT},
                 {Say("VERSION"), Align::LEFT},
                 {Say("LOAD"), Align::RIGHT},
                 {Say("LEASE"), Align::RIGHT}});
    for (CORBA::ULong i = 0; i < servers.length(); ++i) {
        const Northbound::Server& server = servers[i];
        table.Add({Printable(server.name.in()), Printable(server.address.in()),
                   Printable(server.version.in()), std::to_string(server.load), LeaseText(server)});
    }
    table.Print(std::cout);
}

void Print(const Northbound::OpenOrderList& orders)
{
    if (orders.length() == 0) {
        std::cout << Say("no orders are open") << '\n';
        return;
    }
    Table table({{Say("OPERATION"), Align::LEFT},
                 {Say("MANAGED OBJECT"), Align::LEFT},
                 {Say("USER"), Align::LEFT},
                 {Say("PHASE"), Align::LEFT},
                 {Say("SERVER"), Align::LEFT},
                 {Say("SAMPLES"), Align::RIGHT},
                 {Say("NOTE"), Align::LEFT}});
    for (CORBA::ULong i = 0; i < orders.length(); ++i) {
        const Northbound::OpenOrder& order = orders[i];
        table.Add({Printable(order.operation.in()), Printable(order.dn.in()), Printable(order.user.in()),
                   PhaseText(order.phase.in()), Printable(order.server.in()),
                   std::to_string(order.samplesTaken) + "/" + std::to_string(order.samplesPlanned),
                   Printable(order.note.in())});
    }
    table.Print(std::cout);
}

void Print(const Northbound::PartList& parts)
{
    for (CORBA::ULong i = 0; i < parts.length(); ++i) {
        const Northbound::Part& part = parts[i];
        std::cout << "  "
                  << Say("part      {1}: {2} samples from number {3} on, {4}",
                         {Printable(part.server.in()), std::to_string(part.samples),
                          std::to_string(part.first), Printable(part.file.in())})
                  << '\n';
    }
}

std::vector<std::string> Lines(const Northbound::ServerList& servers, std::size_t nColumns)
{
    std::vector<std::string> lines;
    lines.reserve(servers.length());
    for (CORBA::ULong i = 0; i < servers.length(); ++i) {
        const Northbound::Server& server = servers[i];
        lines.push_back(CutTo(nColumns, Say("server {1}  {2}  load {3}  lease {4}",
                                            {Printable(server.name.in()), Printable(server.address.in()),
                                             std::to_string(server.load), LeaseText(server)})));
    }
    return lines;
}

}  // namespace northbound
