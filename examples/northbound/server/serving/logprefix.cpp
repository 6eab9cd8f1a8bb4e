#include "server/serving/logprefix.h"

#include "nbiutil/threadcontextinfo.h"
#include "shared/utf8.h"

namespace northbound {
namespace {

/// Made once per request rather than once per line. Empty while the thread serves nothing.
thread_local std::string t_Prefix;

std::string Printable(std::string text)
{
    for (char& c : text) {
        const auto nByte = static_cast<unsigned char>(c);
        if (nByte <= 0x20 || nByte == 0x7F) c = '?';
    }
    return text;
}

}  // namespace

void LogPrefix::Set(const NS_UTIL::ThreadContextInfo& info)
{
    t_Prefix = info.GetOperUUID() + " [" + info.GetInterfaceName() + "] " +
               Printable(WellFormed(info.GetUserInfo())) + " ";
}

void LogPrefix::Clear() noexcept
{
    t_Prefix.clear();
}

void LogPrefix::Append(std::string& line)
{
    line += t_Prefix;
}

}  // namespace northbound
