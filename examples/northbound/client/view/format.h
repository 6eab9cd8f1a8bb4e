/// \file
/// The server's answers as tables and as JSON.
#pragma once

#include <string>

#include "northbound.hh"

namespace northbound {

/// {"<name>":<value>,...}; null for a figure that is not known
std::string ToJson(const Northbound::FigureList& figures);
std::string ToJson(const Northbound::Column& column);
std::string ToJson(const Northbound::ColumnList& columns);
std::string ToJson(const Northbound::Port& port);
std::string ToJson(const Northbound::PortList& ports);
std::string ToJson(const Northbound::Reading& reading);
std::string ToJson(const Northbound::HugeTask& task);
/// {"tasks":[...]}
std::string ToJson(const Northbound::HugeTaskList& tasks);
std::string ToJson(const Northbound::CollectionResult& result);

std::string ToJson(const Northbound::PackResult& packed);
std::string ToJson(const Northbound::StoredFileList& files);

void Print(const Northbound::PackResult& packed);
void Print(const Northbound::StoredFileList& files);
/// \param columns what the ports' figures mean; the brief ones are shown
void Print(const Northbound::PortList& ports, const Northbound::ColumnList& columns);
void Print(const Northbound::ColumnList& columns);
void Print(const Northbound::Reading& reading);
void Print(const Northbound::HugeTaskList& tasks);
/// "1.5 KiB" for bytes, the bare number for other units, "-" when it is not known
std::string ToText(const Northbound::Figure& figure);
/// "rxBytes 1.5 KiB, rxPackets 12": those that are known and not 0; "nothing counted" without any
std::string ToText(const Northbound::FigureList& figures);

}  // namespace northbound
