#include "server/serving/timetext.h"

#include <sys/time.h>

#include <cstdio>
#include <ctime>

namespace northbound {

std::string TimeText()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    std::tm utc{};
    gmtime_r(&now.tv_sec, &utc);
    char seconds[32];
    char text[48];
    std::strftime(seconds, sizeof(seconds), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text, sizeof(text), "%s.%03dZ", seconds, static_cast<int>(now.tv_usec / 1000));
    return text;
}

}  // namespace northbound
