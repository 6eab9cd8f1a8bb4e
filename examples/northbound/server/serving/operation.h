/// \file
/// What the server has to know of an operation, and an operation of its caller.
#pragma once

#include <functional>
#include <string>

#include "server/serving/failure.h"
#include "server/serving/role.h"

namespace northbound {

/// The caller of a request. The front end fills in what it knows; user and role are the server's own finding once the
/// request is admitted, see UserSessions::Identified().
struct Caller {
    std::string m_User;
    std::string m_Address;  // "<address>:<port>"; what the front end calls a caller without one
    bool m_bLocal = false;  // came through a way that is open to the server's own user alone
    std::string m_Key{};    // of its session; "" without one
    Role m_Role = Role::NONE;
    bool m_bEncrypted = false;  // nobody on the way could read the request
    std::function<bool()>
        m_HasGone{};  // whether nobody waits for the answer any more; empty: the front end cannot tell
};

/// "<address>:<port>" without the port, which each connection has for itself.
inline std::string HostOf(const std::string& address)
{
    return address.substr(0, address.rfind(':'));
}

/// Where an operation does its work. Pool 2, for collections, is the collection book's own.
enum class Place { REQUEST_THREAD, POOL_0, POOL_1 };

/// Each operation has one, under the name PROFILE.
struct Profile {
    int m_nId;            // context and log call the operation "<id> <name>"
    const char* m_pName;  // one word
    Place m_Place;
    Role m_LeastRole;  // of a caller
};

}  // namespace northbound
