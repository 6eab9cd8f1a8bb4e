/// \file
/// Who asks.
#pragma once

#include <string>

namespace northbound {

/// The caller of a request, as its front end knows him.
struct Caller {
    std::string m_User;
    std::string m_Address;  // "<address>:<port>"; empty where the front end has none
};

}  // namespace northbound
