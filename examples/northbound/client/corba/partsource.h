/// \file
/// The bytes of one part of a collection.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "client/corba/session.h"
#include "northbound.hh"

namespace northbound {

constexpr std::uint64_t LONGEST_PART = std::uint64_t{1} << 30U;  // bytes

/// Takes what comes, in its order.
using Sink = std::function<void(const unsigned char* pBytes, std::size_t nBytes)>;

/// Asks the session's servers for the part that begins with the sample \p nFirst, in pieces; the server at \p address,
/// "" for any, before the others.
/// \param restart is called before the first byte, and again where bytes have come that turned out to be wrong
/// \return "" when all bytes have come and their digest is right; else, why nobody has given them
std::string BringPart(const Session& session, const std::string& operation, unsigned int nFirst,
                      const std::string& address, const std::function<void()>& restart, const Sink& sink);

}  // namespace northbound
