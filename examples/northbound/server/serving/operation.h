/// \file
/// What the server has to know of an operation, and an operation of its caller.
#pragma once

#include <string>

#include "server/serving/failure.h"

namespace northbound {

/// The caller of a request, as its front end knows him.
struct Caller {
    std::string m_User;
    std::string m_Address;  // "<address>:<port>"; empty where the front end has none
};

/// Where an operation does its work. Pool 2, for collections, is the collection book's own.
enum class Place { REQUEST_THREAD, POOL_0, POOL_1 };

/// Each operation has one, under the name PROFILE.
struct Profile {
    int m_nId;            // context and log call the operation "<id> <name>"
    const char* m_pName;  // one word
    Place m_Place;
    bool m_bNeedsLogin = true;  // where the server wants its users to log in
};

}  // namespace northbound
