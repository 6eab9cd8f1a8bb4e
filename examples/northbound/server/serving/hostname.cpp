#include "server/serving/hostname.h"

#include <unistd.h>

#include <climits>

namespace northbound {

std::string HostName()
{
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof(name) - 1) != 0 || name[0] == '\0') return "localhost";
    return name;
}

}  // namespace northbound
