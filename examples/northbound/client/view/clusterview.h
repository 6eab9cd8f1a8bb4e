/// \file
/// The servers that share a book, their orders, and the parts of a collection, as tables and as JSON.
#pragma once

#include <string>
#include <vector>

#include "northbound.hh"

namespace northbound {

/// [{"name":...,"address":...,"version":...,"load":...,"lease":...},...]
std::string ToJson(const Northbound::ServerList& servers);
/// [{"operation":...,"dn":...,"user":...,"phase":...,"server":...,"samplesTaken":...,"samplesPlanned":...,"note":...},...]
std::string ToJson(const Northbound::OpenOrderList& orders);
/// [{"server":...,"file":...,"first":...,"samples":...},...]
std::string ToJson(const Northbound::PartList& parts);

void Print(const Northbound::ServerList& servers);
/// A table, or a line where there is none.
void Print(const Northbound::OpenOrderList& orders);
/// A line each, for a collection's outcome.
void Print(const Northbound::PartList& parts);

/// "4.2 s", or "over"
std::string LeaseText(const Northbound::Server& server);

/// A line each, for a screen.
/// \param nColumns that a line may take
std::vector<std::string> Lines(const Northbound::ServerList& servers, std::size_t nColumns);

}  // namespace northbound
