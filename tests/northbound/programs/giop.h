/// \file
/// Requests as they stand on the wire: GIOP 1.0, little-endian.
#pragma once

#include <cstdint>
#include <string>

#include "shared/names.h"

namespace northbound {

inline std::string Number(std::uint32_t nValue)
{
    return std::string(reinterpret_cast<const char*>(&nValue), sizeof(nValue));
}

/// A text with nothing behind it: the ORB refuses a message with bytes that nobody asked for.
inline std::string LastText(const std::string& text)
{
    return Number(static_cast<std::uint32_t>(text.size() + 1)) + text + '\0';
}

/// As CDR has it: length with the zero byte, then padding up to the next number.
inline std::string Text(const std::string& text)
{
    std::string bytes = LastText(text);
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

/// The header of a request that announces \p nSize bytes.
inline std::string Header(std::uint32_t nSize)
{
    return std::string("GIOP\1\0\1\0", 8) + Number(nSize);
}

/// \param arguments after the caller, who has the session of \p key
inline std::string Request(const std::string& operation, const std::string& arguments,
                           const std::string& key = "")
{
    std::string object = OBJECT_KEY;
    const auto nObject = static_cast<std::uint32_t>(object.size());
    object.resize((object.size() + 3) / 4 * 4);
    const std::string caller = Text("alice") + Text(key) + Number(60000);
    const std::string body = Number(0) + Number(1) + std::string("\1\0\0\0", 4) + Number(nObject) + object +
                             Text(operation) + Number(0) + caller + arguments;
    return Header(static_cast<std::uint32_t>(body.size())) + body;
}

/// Whether \p reply, from its first byte on, answers a request without an exception.
inline bool IsAnswer(const std::string& reply)
{
    constexpr std::size_t STATUS = 20;  // behind the header, no service contexts and the request's number
    return reply.size() >= STATUS + 4 && reply.compare(0, 4, "GIOP") == 0 && reply[7] == '\1' &&
           reply.compare(STATUS, 4, Number(0)) == 0;
}

}  // namespace northbound
