// SplitStringByXMLTag over any bytes: the first two lines are the tags, the first also the name, the rest is
// the source.
#include <algorithm>

#include "conversions_naive.h"
#include "nbiutil/conversions.h"

using namespace nbitest::naive;

namespace {

std::string TakeLine(std::string& text)
{
    const std::size_t nEnd = std::min(text.find('\n'), text.size());
    const std::string line = text.substr(0, nEnd);
    text.erase(0, nEnd + 1);
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    std::string source = TextOf(pData, nSize);
    const std::string open = TakeLine(source);
    const std::string close = TakeLine(source);
    std::string value = "untouched";
    std::string expected = value;
    const bool bExpected = CutTag(source, open, close, expected);
    Demand(NS_UTIL::SplitStringByXMLTag(source, open, close, value) == bExpected, "result of two tags");
    Demand(value == expected, "text between two tags");

    value = expected = "untouched";
    const bool bExpectedByName = CutTag(source, "<" + open + ">", "</" + open + ">", expected);
    Demand(NS_UTIL::SplitStringByXMLTag(source, open, value) == bExpectedByName, "result of a name");
    Demand(value == expected, "text of a name");
    return 0;
}
