// Resource and configuration files of the standalone host: what is read is what a reader of the file sees.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "host/standalone/inifile.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

void Require(bool bHolds)
{
    if (!bHolds) std::abort();
}

std::string Trimmed(const std::string& text)
{
    const std::size_t nBegin = text.find_first_not_of(" \t");
    if (nBegin == std::string::npos) return "";
    return text.substr(nBegin, text.find_last_not_of(" \t") + 1 - nBegin);
}

/// The pairs of a text, line by line.
Pairs Plainly(const std::string& text)
{
    Pairs pairs;
    std::size_t nBegin = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    while (nBegin < text.size()) {
        const std::size_t nEnd = std::min(text.find_first_of("\r\n", nBegin), text.size());
        const std::string line = Trimmed(text.substr(nBegin, nEnd - nBegin));
        const std::size_t nEquals = line.find('=');
        const bool bPair = !line.empty() && std::string(";#[").find(line[0]) == std::string::npos;
        if (bPair && nEquals != std::string::npos && nEquals > 0) {
            pairs.emplace_back(Trimmed(line.substr(0, nEquals)), Trimmed(line.substr(nEquals + 1)));
        }
        nBegin = nEnd + 1;
    }
    return pairs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    std::string text(reinterpret_cast<const char*>(pData), nSize);
    text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());  // the callers refuse such files
    Pairs read;
    for (const nbihost::IniEntry& entry : nbihost::ParseIni(text)) {
        read.emplace_back(entry.m_Name, entry.m_Value);
    }
    // Behind an open "[" the parser looks for its end in the next line, too; the host's own file is refused
    // then.
    if (nbihost::FindMalformedLine(text) == 0) Require(read == Plainly(text));
    return 0;
}
