// SelfUtilCommon::GetSpliteFDNData against a second implementation that walks the list character by
// character. The first byte is the length of the separator, which follows; the rest is the list.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "nbiutil/selfutilcommon.h"

namespace {

using Texts = std::map<std::string, std::string>;

bool StandsAt(const std::string& list, std::size_t nAt, const std::string& separator)
{
    if (separator.empty() || nAt + separator.size() > list.size()) return false;
    for (std::size_t i = 0; i < separator.size(); ++i) {
        if (list[nAt + i] != separator[i]) return false;
    }
    return true;
}

/// A piece ends where a separator stands; the separator's first character is gone, its others are ordinary
/// characters, at which another separator may stand.
Texts Expected(const std::string& list, const std::string& separator)
{
    Texts values;
    std::string name;
    std::string value;
    bool bValue = false;
    for (std::size_t i = 0; i <= list.size(); ++i) {
        if (i == list.size() || StandsAt(list, i, separator)) {
            if (bValue) values[name] = value;
            name.clear();
            value.clear();
            bValue = false;
        } else if (bValue) {
            value += list[i];
        } else if (list[i] == '=') {
            bValue = true;
        } else {
            name += list[i];
        }
    }
    return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const std::string input(reinterpret_cast<const char*>(pData), nSize);
    const std::size_t nSeparator = input.empty() ? 0 : static_cast<unsigned char>(input[0]) % 5;
    const std::string separator = input.empty() ? input : input.substr(1, nSeparator);
    const std::string list = input.size() > nSeparator ? input.substr(1 + nSeparator) : std::string();
    Texts values;
    NS_UTIL::SelfUtilCommon::Instance()->GetSpliteFDNData(values, list, separator);
    if (values != Expected(list, separator)) std::abort();
    return 0;
}
