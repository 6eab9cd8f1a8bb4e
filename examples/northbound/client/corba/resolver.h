/// \file
/// The addresses behind a server's name, within a time.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace northbound {

/// The name stands for no address, or the system did not say in time; what() is why.
class UnknownName : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The places that \p hostAndPort stands for, each as "<address>:<port>" with brackets around an IPv6 address; the same text
/// where it begins with an address already, or with nothing that could be a name. The system's search for a name has limits
/// of its own, minutes with several servers that do not answer, so it goes on on a thread that nobody waits for.
/// \param limit for the search
/// \return at least one, at most eight
/// \throws UnknownName
std::vector<std::string> PlacesBehind(const std::string& hostAndPort, std::chrono::milliseconds limit);

/// Whether PlacesBehind() asks nobody for \p hostAndPort.
bool IsAddress(const std::string& hostAndPort);

}  // namespace northbound
