#include "nbiutil/conversions.h"

#include <algorithm>

namespace NS_UTIL {

void PathFormat(std::string& path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
}

}  // namespace NS_UTIL
