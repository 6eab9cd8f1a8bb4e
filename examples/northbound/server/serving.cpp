#include "serving.h"

#include "nbiutil/threadcontextinfo.h"

namespace northbound {
namespace {

/// Made once per request rather than once per line. Empty while the thread serves nothing.
thread_local std::string g_Prefix;

std::string Printable(std::string text)
{
    for (char& c : text) {
        const auto nByte = static_cast<unsigned char>(c);
        if (nByte <= 0x20 || nByte == 0x7F) c = '?';
    }
    return text;
}

}  // namespace

void Serving::Begin(const NS_UTIL::ThreadContextInfo& info)
{
    g_Prefix =
        info.GetOperUUID() + " [" + info.GetInterfaceName() + "] " + Printable(info.GetUserInfo()) + " ";
}

void Serving::End() noexcept
{
    g_Prefix.clear();
}

void Serving::AppendPrefix(std::string& line)
{
    line += g_Prefix;
}

}  // namespace northbound
