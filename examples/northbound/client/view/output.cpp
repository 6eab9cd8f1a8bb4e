#include "client/view/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace northbound {
namespace {

int g_nError = 0;  // of the main thread, which alone prints

}  // namespace

bool FlushOutput()
{
    errno = 0;
    const bool bFlushed = std::fflush(stdout) == 0;  // std::cout has no buffer of its own
    if (bFlushed && std::ferror(stdout) == 0 && std::cout.good()) return true;
    if (g_nError == 0) g_nError = errno;
    return false;
}

std::string WhyOutputIsLost()
{
    return g_nError == 0 ? "" : std::strerror(g_nError);
}

}  // namespace northbound
