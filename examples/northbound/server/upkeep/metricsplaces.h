/// \file
/// Where scrapers find the server's figures.
#pragma once

#include <optional>
#include <string>

namespace northbound {

/// Each may be left out.
struct MetricsPlaces {
    std::string m_File;         // path; "": none
    std::string m_Socket;       // path; "": none
    std::optional<int> m_Port;  // of the loopback interface; 0 is any free one
};

}  // namespace northbound
