/// \file
/// What a caller may do.
#pragma once

#include <optional>
#include <string>

namespace northbound {

/// Each may do all that those before it may.
enum class Role {
    NONE,       // the public key and the login
    READER,     // looks: inventory, counters, tasks
    COLLECTOR,  // has collections made and packed
    ADMIN,      // everything
};

/// "none", "reader", "collector" or "admin", as configurations say it.
const char* NameOf(Role role);

/// \return nothing when no role has that name
std::optional<Role> RoleNamed(const std::string& name);

}  // namespace northbound
