#include "shared/version.h"

#include "buildinfo.h"

namespace northbound {

Version ThisVersion()
{
    return {nbibuild::VERSION, nbibuild::COMMIT, nbibuild::OPTIONS};
}

std::string VersionText(const std::string& program)
{
    return program + ' ' + nbibuild::VERSION + " (commit " + nbibuild::COMMIT + ")\nbuilt with " +
           nbibuild::OPTIONS;
}

}  // namespace northbound
