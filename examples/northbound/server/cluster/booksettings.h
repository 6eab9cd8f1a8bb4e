/// \file
/// What a shared book needs to know.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "server/cluster/engineconnection.h"

namespace northbound {

struct PostgresBookSettings {
    std::string m_Connection;  // text for libpq, see CheckConnectionText()
    std::string m_Server;      // name of this server in the book; no other one has it
    std::string m_Address;     // where clients reach it
    std::string m_Version;     // of the program
    std::vector<std::string>
        m_Elements;  // network elements that it reaches, as in distinguished names: "ne=<name>"
    std::chrono::milliseconds m_Lease{6000};
    std::chrono::milliseconds m_Fence{5000};  // how long a claim is good here; shorter than the lease
    std::chrono::hours m_Kept =
        std::chrono::hours(7 * 24);  // collections that have ended, and servers that are gone
    std::size_t m_nConnections = 4;  // and one more for renewals
    EngineLimits m_Limits{};
};

}  // namespace northbound
