// SplitStringByTag over any bytes: the first is the separator, the second holds the flags, the rest is the
// text.
#include "conversions_naive.h"
#include "nbiutil/conversions.h"

using namespace nbitest::naive;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    if (nSize < 2) return 0;
    const char separator = static_cast<char>(pData[0]);
    const unsigned short nFlags = pData[1];
    const std::string text = TextOf(pData + 2, nSize - 2);
    std::vector<std::string> pieces{"here before"};
    std::vector<std::string> expected = pieces;
    const bool bExpected = Split(text, expected, separator, nFlags);
    Demand(NS_UTIL::SplitStringByTag(text, pieces, separator, nFlags) == bExpected, "result");
    Demand(pieces == expected, "pieces");

    std::vector<std::string> own{text};
    std::vector<std::string> expectedOwn = own;
    Split(text, expectedOwn, separator, nFlags);
    NS_UTIL::SplitStringByTag(own[0], own, separator, nFlags);
    Demand(own == expectedOwn, "pieces behind the text they come from");
    return 0;
}
