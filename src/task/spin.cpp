#include "task/spin.h"

#include <thread>

namespace NS_UTIL {

int YieldsBeforeSleep()
{
    constexpr int YIELDS = 40;
    static const int nYields = std::thread::hardware_concurrency() > 1 ? YIELDS : 0;
    return nYields;
}

}  // namespace NS_UTIL
