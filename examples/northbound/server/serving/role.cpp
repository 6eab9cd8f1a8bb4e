#include "server/serving/role.h"

#include <cstddef>

namespace northbound {
namespace {

constexpr const char* NAMES[] = {"none", "reader", "collector", "admin"};

}  // namespace

const char* NameOf(Role role)
{
    return NAMES[static_cast<std::size_t>(role)];
}

std::optional<Role> RoleNamed(const std::string& name)
{
    for (const Role role : {Role::NONE, Role::READER, Role::COLLECTOR, Role::ADMIN}) {
        if (name == NameOf(role)) return role;
    }
    return std::nullopt;
}

}  // namespace northbound
