/// \file
/// The server's answers as tables and as JSON.
#pragma once

#include <string>

#include "northbound.hh"

namespace northbound {

std::string ToJson(const Northbound::Counters& counters);
std::string ToJson(const Northbound::Port& port);
std::string ToJson(const Northbound::PortList& ports);
std::string ToJson(const Northbound::Reading& reading);
std::string ToJson(const Northbound::HugeTask& task);
std::string ToJson(const Northbound::HugeTaskList& tasks);
std::string ToJson(const Northbound::CollectionResult& result);
/// {"error":{"code":...,"hex":"0x...","detail":"...","reason":"..."}}; the reason is "" when there is none
std::string ToJson(const Northbound::OperationFailed& failure);

void Print(const Northbound::PortList& ports);
void Print(const Northbound::Reading& reading);
void Print(const Northbound::HugeTaskList& tasks);
/// "failed with code 0x4118000A: <detail>", and a second line "  reason: <reason>" when there is one
std::string ToText(const Northbound::OperationFailed& failure);

}  // namespace northbound
