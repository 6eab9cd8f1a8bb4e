#include "format.h"

#include <cstdio>
#include <iostream>
#include <vector>

#include "json.h"
#include "reasons.h"
#include "table.h"

namespace northbound {
namespace {

using Align = Table::Align;

template <class List>
std::string ListToJson(const List& list)
{
    std::vector<std::string> items;
    for (CORBA::ULong i = 0; i < list.length(); ++i) items.push_back(ToJson(list[i]));
    return JsonArray(items);
}

std::string AddressesText(const Northbound::TextList& addresses)
{
    std::string text;
    for (CORBA::ULong i = 0; i < addresses.length(); ++i) {
        if (i > 0) text += ' ';
        text += addresses[i].in();
    }
    return text;
}

}  // namespace

std::string ToJson(const Northbound::Counters& counters)
{
    return JsonObject()
        .Number("rxBytes", counters.rxBytes)
        .Number("rxPackets", counters.rxPackets)
        .Number("rxErrors", counters.rxErrors)
        .Number("rxDropped", counters.rxDropped)
        .Number("txBytes", counters.txBytes)
        .Number("txPackets", counters.txPackets)
        .Number("txErrors", counters.txErrors)
        .Number("txDropped", counters.txDropped)
        .Done();
}

std::string ToJson(const Northbound::Port& port)
{
    std::vector<std::string> addresses;
    for (CORBA::ULong i = 0; i < port.addresses.length(); ++i) {
        addresses.push_back(JsonText(port.addresses[i].in()));
    }
    return JsonObject()
        .Text("dn", port.dn.in())
        .Text("name", port.name.in())
        .Text("state", port.state.in())
        .Text("hardwareAddress", port.hardwareAddress.in())
        .Raw("addresses", JsonArray(addresses))
        .Number("mtu", port.mtu)
        .Number("speed", port.speed)
        .Raw("counters", ToJson(port.counting))
        .Done();
}

std::string ToJson(const Northbound::PortList& ports)
{
    return ListToJson(ports);
}

std::string ToJson(const Northbound::Reading& reading)
{
    return JsonObject()
        .Text("dn", reading.dn.in())
        .Text("takenAt", reading.takenAt.in())
        .Raw("counters", ToJson(reading.counting))
        .Done();
}

std::string ToJson(const Northbound::HugeTask& task)
{
    return JsonObject()
        .Text("operation", task.operation.in())
        .Text("list", task.list.in())
        .Text("dn", task.dn.in())
        .Text("user", task.user.in())
        .Number("samplesTaken", task.samplesTaken)
        .Number("samplesPlanned", task.samplesPlanned)
        .Done();
}

std::string ToJson(const Northbound::HugeTaskList& tasks)
{
    return ListToJson(tasks);
}

std::string ToJson(const Northbound::CollectionResult& result)
{
    return JsonObject()
        .Text("operation", result.operation.in())
        .Text("file", result.file.in())
        .Number("samples", result.samples)
        .Raw("increase", ToJson(result.increase))
        .Done();
}

std::string ToJson(const Northbound::OperationFailed& failure)
{
    const std::string error = JsonObject()
                                  .Number("code", failure.code)
                                  .Text("hex", CodeText(failure.code))
                                  .Text("detail", failure.detail.in())
                                  .Text("reason", ReasonOf(failure.code))
                                  .Done();
    return JsonObject().Raw("error", error).Done();
}

std::string ToText(const Northbound::OperationFailed& failure)
{
    const std::string reason = ReasonOf(failure.code);
    return "failed with code " + CodeText(failure.code) + ": " + Printable(failure.detail.in()) +
           (reason.empty() ? "" : "\n  reason: " + Printable(reason));
}

void Print(const Northbound::PortList& ports)
{
    Table table({{"MANAGED OBJECT", Align::LEFT},
                 {"STATE", Align::LEFT},
                 {"MTU", Align::RIGHT},
                 {"MBIT/S", Align::RIGHT},
                 {"RECEIVED", Align::RIGHT},
                 {"SENT", Align::RIGHT},
                 {"ADDRESSES", Align::LEFT}});
    for (CORBA::ULong i = 0; i < ports.length(); ++i) {
        const Northbound::Port& port = ports[i];
        table.Add({port.dn.in(), port.state.in(), std::to_string(port.mtu),
                   port.speed < 0 ? "-" : std::to_string(port.speed), BytesText(port.counting.rxBytes),
                   BytesText(port.counting.txBytes), AddressesText(port.addresses)});
    }
    table.Print(std::cout);
}

void Print(const Northbound::Reading& reading)
{
    std::cout << Printable(reading.dn.in()) << " at " << Printable(reading.takenAt.in()) << '\n';
    Table table({{"", Align::LEFT},
                 {"BYTES", Align::RIGHT},
                 {"PACKETS", Align::RIGHT},
                 {"ERRORS", Align::RIGHT},
                 {"DROPPED", Align::RIGHT}});
    const Northbound::Counters& c = reading.counting;
    table.Add({"received", std::to_string(c.rxBytes), std::to_string(c.rxPackets), std::to_string(c.rxErrors),
               std::to_string(c.rxDropped)});
    table.Add({"sent", std::to_string(c.txBytes), std::to_string(c.txPackets), std::to_string(c.txErrors),
               std::to_string(c.txDropped)});
    table.Print(std::cout);
}

void Print(const Northbound::HugeTaskList& tasks)
{
    if (tasks.length() == 0) {
        std::cout << "no huge tasks are running\n";
        return;
    }
    Table table({{"OPERATION", Align::LEFT},
                 {"USER", Align::LEFT},
                 {"COUNTED UNDER", Align::LEFT},
                 {"SAMPLES", Align::RIGHT}});
    for (CORBA::ULong i = 0; i < tasks.length(); ++i) {
        const Northbound::HugeTask& task = tasks[i];
        table.Add({task.operation.in(), task.user.in(), task.list.in(),
                   std::to_string(task.samplesTaken) + "/" + std::to_string(task.samplesPlanned)});
    }
    table.Print(std::cout);
}

}  // namespace northbound
