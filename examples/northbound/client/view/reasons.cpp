#include "client/view/reasons.h"

#include <charconv>
#include <cstdio>

#include "nbiutil/errorinfomgr.h"

namespace northbound {

std::string ReasonOf(unsigned int nCode)
{
    std::string reason;
    NS_UTIL::ErrorInfoMgr::Instance()->GetErrReasonByErrCode(reason, nCode);
    return reason;
}

std::optional<unsigned int> ParseCode(const std::string& text)
{
    const bool bHex = text.compare(0, 2, "0x") == 0 || text.compare(0, 2, "0X") == 0;
    const char* const pEnd = text.data() + text.size();
    unsigned int nCode = 0;
    const auto [pRest, error] = std::from_chars(text.data() + (bHex ? 2 : 0), pEnd, nCode, bHex ? 16 : 10);
    if (error != std::errc() || pRest != pEnd) return std::nullopt;
    return nCode;
}

std::string CodeText(unsigned int nCode)
{
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", nCode);
    return text;
}

}  // namespace northbound
