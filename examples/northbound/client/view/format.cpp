#include "client/view/format.h"

#include <cstdio>
#include <iostream>
#include <utility>
#include <vector>

#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/table.h"

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

std::string ToJson(const Northbound::FigureList& figures)
{
    JsonObject object;
    for (CORBA::ULong i = 0; i < figures.length(); ++i) {
        object.Raw(figures[i].name.in(), figures[i].known ? std::to_string(figures[i].value) : "null");
    }
    return object.Done();
}

std::string ToJson(const Northbound::Column& column)
{
    return JsonObject()
        .Text("table", column.table.in())
        .Text("name", column.name.in())
        .Text("title", column.title.in())
        .Text("unit", column.unit.in())
        .Text("type", column.type.in())
        .Text("direction", column.direction.in())
        .Raw("brief", column.brief ? "true" : "false")
        .Done();
}

std::string ToJson(const Northbound::ColumnList& columns)
{
    return ListToJson(columns);
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
    return JsonObject().Raw("tasks", ListToJson(tasks)).Done();
}

std::string ToJson(const Northbound::CollectionResult& result)
{
    return JsonObject()
        .Text("operation", result.operation.in())
        .Text("file", result.file.in())
        .Number("samples", result.samples)
        .Number("late", result.late)
        .Raw("increase", ToJson(result.increase))
        .Done();
}

std::string ToText(const Northbound::Figure& figure)
{
    if (!figure.known) return "-";
    return std::string(figure.unit.in()) == "bytes" ? BytesText(figure.value) : std::to_string(figure.value);
}

std::string ToText(const Northbound::FigureList& figures)
{
    std::string text;
    for (CORBA::ULong i = 0; i < figures.length(); ++i) {
        if (!figures[i].known || figures[i].value == 0) continue;
        text += (text.empty() ? "" : ", ") + std::string(figures[i].name.in()) + " " + ToText(figures[i]);
    }
    return text.empty() ? Say("nothing counted") : Printable(text);
}

void Print(const Northbound::PortList& ports, const Northbound::ColumnList& columns)
{
    std::vector<Table::Column> heading = {{Say("MANAGED OBJECT"), Align::LEFT},
                                          {Say("STATE"), Align::LEFT},
                                          {Say("MTU"), Align::RIGHT},
                                          {Say("MBIT/S"), Align::RIGHT}};
    for (CORBA::ULong i = 0; i < columns.length(); ++i) {
        if (columns[i].brief) heading.push_back({UpperCase(columns[i].title.in()), Align::RIGHT});
    }
    heading.push_back({Say("ADDRESSES"), Align::LEFT});
    Table table(heading);
    for (CORBA::ULong i = 0; i < ports.length(); ++i) {
        const Northbound::Port& port = ports[i];
        std::vector<std::string> cells = {port.dn.in(), port.state.in(), std::to_string(port.mtu),
                                          port.speed < 0 ? "-" : std::to_string(port.speed)};
        for (CORBA::ULong j = 0; j < columns.length() && j < port.counting.length(); ++j) {
            if (columns[j].brief) cells.push_back(ToText(port.counting[j]));
        }
        cells.push_back(AddressesText(port.addresses));
        table.Add(std::move(cells));
    }
    table.Print(std::cout);
}

void Print(const Northbound::ColumnList& columns)
{
    Table table({{Say("TABLE"), Align::LEFT},
                 {Say("FIGURE"), Align::LEFT},
                 {Say("TITLE"), Align::LEFT},
                 {Say("UNIT"), Align::LEFT},
                 {Say("TYPE"), Align::LEFT},
                 {Say("DIRECTION"), Align::LEFT}});
    for (CORBA::ULong i = 0; i < columns.length(); ++i) {
        const Northbound::Column& column = columns[i];
        table.Add({column.table.in(), column.name.in(), column.title.in(), column.unit.in(), column.type.in(),
                   column.direction.in()});
    }
    table.Print(std::cout);
}

void Print(const Northbound::Reading& reading)
{
    PrintHeading(std::cout, Say("{1} at {2}", {reading.dn.in(), reading.takenAt.in()}));
    Table table({{Say("FIGURE"), Align::LEFT}, {Say("VALUE"), Align::RIGHT}, {Say("UNIT"), Align::LEFT}});
    const Northbound::FigureList& figures = reading.counting;
    for (CORBA::ULong i = 0; i < figures.length(); ++i) {
        table.Add({figures[i].name.in(), figures[i].known ? std::to_string(figures[i].value) : "-",
                   figures[i].unit.in()});
    }
    table.Print(std::cout);
}

void Print(const Northbound::HugeTaskList& tasks)
{
    if (tasks.length() == 0) {
        std::cout << Say("no huge tasks are running") << '\n';
        return;
    }
    Table table({{Say("OPERATION"), Align::LEFT},
                 {Say("USER"), Align::LEFT},
                 {Say("COUNTED UNDER"), Align::LEFT},
                 {Say("SAMPLES"), Align::RIGHT}});
    for (CORBA::ULong i = 0; i < tasks.length(); ++i) {
        const Northbound::HugeTask& task = tasks[i];
        table.Add({task.operation.in(), task.user.in(), task.list.in(),
                   std::to_string(task.samplesTaken) + "/" + std::to_string(task.samplesPlanned)});
    }
    table.Print(std::cout);
}

std::string ToJson(const Northbound::PackResult& packed)
{
    std::vector<std::string> archives;
    for (CORBA::ULong i = 0; i < packed.archives.length(); ++i) {
        archives.push_back(JsonText(packed.archives[i].in()));
    }
    return JsonObject()
        .Raw("archives", JsonArray(archives))
        .Number("made", packed.made)
        .Number("waiting", packed.waiting)
        .Done();
}

void Print(const Northbound::PackResult& packed)
{
    for (CORBA::ULong i = 0; i < packed.archives.length(); ++i) {
        std::cout << Say("packed into {1}", {Printable(packed.archives[i].in())}) << '\n';
    }
    if (packed.made > packed.archives.length()) {
        std::cout << Say("and into {1} archives more",
                         {std::to_string(packed.made - packed.archives.length())})
                  << '\n';
    }
    std::cout << Say("{1} files wait for a later packing", {std::to_string(packed.waiting)}) << '\n';
}

std::string ToJson(const Northbound::StoredFileList& files)
{
    std::vector<std::string> items;
    for (CORBA::ULong i = 0; i < files.length(); ++i) {
        items.push_back(JsonObject()
                            .Text("name", files[i].name.in())
                            .Text("state", files[i].state.in())
                            .Number("bytes", files[i].bytes)
                            .Number("age", files[i].age)
                            .Done());
    }
    return JsonObject().Raw("files", JsonArray(items)).Done();
}

void Print(const Northbound::StoredFileList& files)
{
    Table table({{Say("FILE"), Align::LEFT},
                 {Say("STATE"), Align::LEFT},
                 {Say("SIZE"), Align::RIGHT},
                 {Say("SECONDS OLD"), Align::RIGHT}});
    for (CORBA::ULong i = 0; i < files.length(); ++i) {
        table.Add({files[i].name.in(), files[i].state.in(), BytesText(files[i].bytes),
                   std::to_string(files[i].age)});
    }
    table.Print(std::cout);
}

}  // namespace northbound
